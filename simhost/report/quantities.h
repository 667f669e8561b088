// Numbers as people read them.
#pragma once

#include <cstdint>
#include <string>

// "0 B", "999 B", "1.5 kB", "314.6 MB": powers of 1000.
std::string format_bytes(uint64_t bytes);

// "0.8 us", "31 us", "1.2 ms", "3.21 s", "2:05 min".
std::string format_duration(double seconds);

// "812.4 MB/s"; "-" when no time passed.
std::string format_rate(uint64_t bytes, double seconds);

// Reads "4096", "64K", "1M", "2G" (powers of 1024, either case). Throws std::invalid_argument for anything else and for
// numbers beyond 64 bits.
uint64_t parse_byte_count(const std::string &text);
