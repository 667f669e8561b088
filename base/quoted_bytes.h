// Bytes as evidence: every one of them can be told from what is shown.
#pragma once

#include <cstddef>
#include <string>

// In double quotes, with \n, \xNN and so on for what is no printable ASCII; longer texts are shown by their beginning and
// length.
std::string quoted_bytes(const std::string &text, size_t longest = 200);

// "null" or the quoted text.
std::string quoted_or_null(const char *text);
