// The characters of UTF-8 text, as far as people see them.
#pragma once

#include <cstddef>
#include <string_view>

struct Character {
    char32_t code = 0;
    size_t bytes = 0;       // that it takes; 0 at the end of a text
    bool is_valid = false;  // false for one byte that is no UTF-8
};

// The character that text begins with.
Character first_character(std::string_view text);

// What a character that people cannot see, or that changes how others are shown, is called: "a no-break space". Null for
// all others, for a plain blank among them.
const char *hidden_name(char32_t code);

// The columns that a character takes on a terminal: 0 for marks that sit on the one before, 2 for wide ones.
size_t character_columns(char32_t code);
