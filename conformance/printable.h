// Bytes as text that is safe to print anywhere.
#pragma once

#include <cstddef>
#include <string>

namespace conformance {

// In double quotes, with \n, \xNN and so on for what does not print; longer texts are shown by their beginning and length.
std::string quoted(const std::string &text, size_t longest = 200);

// "null" or the quoted text.
std::string quoted_or_null(const char *text);

}  // namespace conformance
