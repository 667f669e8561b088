#include "base/quoted_bytes.h"

std::string quoted_bytes(const std::string &text, size_t longest) {
    static constexpr char digits[] = "0123456789abcdef";
    std::string out = "\"";
    for (size_t i = 0; i < text.size() && i < longest; ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (byte == '\n')
            out += "\\n";
        else if (byte == '\t')
            out += "\\t";
        else if (byte == '"' || byte == '\\')
            out += {'\\', text[i]};
        else if (byte < 0x20 || byte >= 0x7f)
            out += {'\\', 'x', digits[byte >> 4], digits[byte & 15]};
        else
            out += text[i];
    }
    out += '"';
    if (text.size() > longest)
        out += "... (" + std::to_string(text.size()) + " bytes)";
    return out;
}

std::string quoted_or_null(const char *text) { return text == nullptr ? "null" : quoted_bytes(text, 80); }
