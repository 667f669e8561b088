// Host parts of server names that do not fit the 512 bytes of their field: a plug-in cuts them, or refuses the name.
#pragma once

#include <cstdint>
#include <string>

namespace conformance {

// True, with a warning, when the host part does not fit and the call refused it, with whatever status.
bool is_refused_long_host(const std::string &host, int32_t status);

}  // namespace conformance
