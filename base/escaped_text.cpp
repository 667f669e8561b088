#include "base/escaped_text.h"

namespace {

std::string hexadecimal(unsigned char byte) {
    static constexpr char digits[] = "0123456789abcdef";
    return {'\\', 'x', digits[byte >> 4], digits[byte & 15]};
}

std::string escaped(const std::string &text, bool quotes) {
    std::string result;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte == '\n')
            result += "\\n";
        else if (byte < 0x20 || byte == 0x7f)
            result += hexadecimal(byte);
        else if (c == '\\' || (quotes && c == '"'))
            result += {'\\', c};
        else
            result += c;
    }
    return result;
}

}  // namespace

std::string in_quotes(const std::string &text) { return '"' + escaped(text, true) + '"'; }

std::string printable(const std::string &text) { return escaped(text, false); }
