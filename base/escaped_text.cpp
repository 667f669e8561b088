#include "base/escaped_text.h"

#include <string_view>

#include "base/characters.h"

namespace {

std::string hexadecimal(unsigned char byte) {
    static constexpr char digits[] = "0123456789abcdef";
    return {'\\', 'x', digits[byte >> 4], digits[byte & 15]};
}

std::string escape_of(char32_t code) {
    if (code < 0x80)
        return hexadecimal(static_cast<unsigned char>(code));
    std::string digits;
    for (; code != 0 || digits.size() < 4; code >>= 4)
        digits.insert(digits.begin(), "0123456789abcdef"[code & 15]);
    return digits.size() == 4 ? "\\u" + digits : "\\U" + digits;
}

enum class Escape { hidden, backslash_too, quotes_too };

std::string escaped(const std::string &text, Escape what) {
    std::string result;
    for (size_t i = 0; i < text.size();) {
        const Character character = first_character(std::string_view(text).substr(i));
        if (text[i] == '\n')
            result += "\\n";
        else if (!character.is_valid)
            result += hexadecimal(static_cast<unsigned char>(text[i]));
        else if (hidden_name(character.code) != nullptr)
            result += escape_of(character.code);
        else if ((text[i] == '\\' && what != Escape::hidden) || (text[i] == '"' && what == Escape::quotes_too))
            result += {'\\', text[i]};
        else
            result += text.substr(i, character.bytes);
        i += character.bytes;
    }
    return result;
}

}  // namespace

std::string in_quotes(const std::string &text) { return '"' + escaped(text, Escape::quotes_too) + '"'; }

std::string printable(const std::string &text) { return escaped(text, Escape::backslash_too); }

std::string visible(const std::string &line) { return escaped(line, Escape::hidden); }
