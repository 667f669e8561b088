// Settings from the environment.
#pragma once

#include <cstdlib>
#include <string>

namespace stsimage::s3 {

// An empty one counts as not set.
inline std::string environment(const char *name, const std::string &otherwise = {}) {
    const char *const value = std::getenv(name);
    return value != nullptr && *value != '\0' ? value : otherwise;
}

}  // namespace stsimage::s3
