// Numbers as people read them.
#pragma once

#include <cstdint>
#include <string>

// "999 bytes", "10737418240 bytes (10 GiB)": exact, with what people call it.
std::string bytes_in_words(uint64_t bytes);
// The same for a column whose title says that these are bytes: "999", "10737418240 (10 GiB)".
std::string bytes_in_table(uint64_t bytes);

// "0.8 us", "31 us", "1.2 ms", "3.21 s", "2:05 min".
std::string format_duration(double seconds);

// "812.4 MiB/s"; "-" when no time passed.
std::string format_rate(uint64_t bytes, double seconds);

// Reads "4096", "64K", "1M", "2G" (powers of 1024, either case). Throws std::invalid_argument for anything else and for
// numbers beyond 64 bits.
uint64_t parse_byte_count(const std::string &text);
