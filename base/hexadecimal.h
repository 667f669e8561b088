// Bytes as digits.
#pragma once

#include <string>
#include <string_view>

// Two lower-case hexadecimal digits a byte.
std::string in_hexadecimal(std::string_view bytes);
