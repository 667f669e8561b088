// Two blocks of bytes side by side, only the lines that differ.
#pragma once

#include <cstddef>
#include <string>

namespace conformance {

std::string hex_diff(const unsigned char *expected, const unsigned char *got, size_t size);

}  // namespace conformance
