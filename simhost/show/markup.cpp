#include "simhost/show/markup.h"

#include "base/characters.h"
#include "base/entities.h"
#include "base/escaped_text.h"

std::string markup_text(const std::string &text) {
    std::string result;
    for (size_t i = 0; i < text.size();) {
        const Character character = first_character(std::string_view(text).substr(i));
        const std::string bytes = text.substr(i, character.bytes);
        const bool is_visible = character.is_valid && hidden_name(character.code) == nullptr;
        result += is_visible ? with_entities(bytes, "\"'") : printable(bytes);
        i += character.bytes;
    }
    return result;
}

std::string markup_name(const std::string &name) { return name.empty() ? "<i>no name</i>" : markup_text(name); }
