#include "base/text_columns.h"

#include "base/characters.h"

namespace {

std::string blanks_for(const std::string &text, size_t columns) {
    const size_t used = text_columns(text);
    return std::string(used < columns ? columns - used : 0, ' ');
}

}  // namespace

size_t text_columns(std::string_view text) {
    size_t columns = 0;
    while (!text.empty()) {
        const Character character = first_character(text);
        columns += character.is_valid ? character_columns(character.code) : 1;
        text.remove_prefix(character.bytes);
    }
    return columns;
}

std::string at_right(const std::string &text, size_t columns) { return blanks_for(text, columns) + text; }

std::string at_left(const std::string &text, size_t columns) { return text + blanks_for(text, columns); }
