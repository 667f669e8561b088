// Moments as people and programs read them.
#pragma once

#include <cstdint>
#include <string>

// Both in nanoseconds since 1970. The local time, with the date unless that is the day of now; "" for 0.
std::string moment_text(uint64_t moment, uint64_t now);

// The same in UTC for programs, as journals have it: 2026-01-31T23:59:59.999Z.
std::string utc_moment_text(uint64_t moment);
