#pragma once

#include <cstdint>
#include <string>

// "512 bytes", "10 GiB", "1.5 TiB": powers of 1024, with one digit behind the point unless it is exact.
std::string binary_size(uint64_t bytes);
