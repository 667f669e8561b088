#include "simhost/show/markup.h"

#include "base/characters.h"
#include "base/escaped_text.h"

namespace {

const char *entity(char byte) {
    switch (byte) {
        case '&':
            return "&amp;";
        case '<':
            return "&lt;";
        case '>':
            return "&gt;";
        case '"':
            return "&quot;";
        case '\'':
            return "&#39;";
        default:
            return nullptr;
    }
}

}  // namespace

std::string markup_text(const std::string &text) {
    std::string result;
    for (size_t i = 0; i < text.size();) {
        const Character character = first_character(std::string_view(text).substr(i));
        const std::string bytes = text.substr(i, character.bytes);
        if (const char *replacement = entity(text[i]))
            result += replacement;
        else
            result += character.is_valid && hidden_name(character.code) == nullptr ? bytes : printable(bytes);
        i += character.bytes;
    }
    return result;
}

std::string markup_name(const std::string &name) { return name.empty() ? "<i>no name</i>" : markup_text(name); }
