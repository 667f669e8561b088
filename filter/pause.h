// Waiting inside a call. Signals that the host handles do not shorten it.
#pragma once

#include <cstdint>
#include <string>

namespace filter {

void wait_until(uint64_t monotonic_ns);
void wait_for(uint64_t nanoseconds);
// Looks for the file fifty times a second; for ever when the path is empty.
void wait_for_file(const std::string &path);

}  // namespace filter
