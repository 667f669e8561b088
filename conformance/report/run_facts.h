// What every report says of the run itself, so that a verdict can be told from another's.
#pragma once

#include <string>

namespace conformance {

struct RunFacts {
    std::string plugin;         // as it was named
    std::string plugin_hash;    // "xxh128:..." of the file
    std::string suite_version;  // "0.1.0"
    std::string kernel;         // "Linux 6.1.0 x86_64"
    double seconds = 0;
};

// The versions of the interface that the suite knows.
constexpr char interface_versions[] = "9 (first table from 7, second from 9)";

// Nothing in these tests is drawn by chance.
constexpr char seed_text[] = "none";

// Throws std::runtime_error for a file that cannot be read.
RunFacts facts_of(const std::string &plugin);

}  // namespace conformance
