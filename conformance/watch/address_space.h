// Tests of lengths beyond 32 bits need room that a process may not have.
#pragma once

#include <cstdint>

namespace conformance {

// Skips the test when this process may not map so many bytes more.
void need_address_space(uint64_t bytes);

}  // namespace conformance
