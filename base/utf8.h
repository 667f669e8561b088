#pragma once

#include <cstddef>
#include <string_view>

// The bytes of the character that text begins with; 1 for a byte that is no UTF-8. 0 for an empty text.
size_t utf8_length(std::string_view text);

// The characters of the text; a byte that is no UTF-8 counts as one.
size_t utf8_count(std::string_view text);
