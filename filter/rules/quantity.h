// Numbers with units, as people write them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace filter {

// "4096", "0x1000", "10G", "1.5M", "64KiB", "7B": K, M, G, T and P are powers of 1024. Nothing for any other text and for
// what 64 bits do not hold.
std::optional<uint64_t> parse_size(std::string_view text);

// "2s", "1.5m": ns, us, ms, s, m, h, d. In nanoseconds. A number without a unit is none, save 0.
std::optional<uint64_t> parse_duration(std::string_view text);

// Digits alone, or hexadecimal ones behind "0x".
std::optional<uint64_t> parse_number(std::string_view text);

// The other way, exact and short: "10G", "1000"; "2s", "1500ms".
std::string size_text(uint64_t bytes);
std::string duration_text(uint64_t nanoseconds);

}  // namespace filter
