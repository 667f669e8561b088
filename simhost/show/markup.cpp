#include "simhost/show/markup.h"

#include "base/utf8.h"

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
        const size_t length = utf8_length(std::string_view(text).substr(i));
        const auto byte = static_cast<unsigned char>(text[i]);
        if (const char *replacement = entity(text[i]))
            result += replacement;
        else if (length == 1 && (byte < 0x20 || byte >= 0x7f))
            result += '?';
        else
            result += text.substr(i, length);
        i += length;
    }
    return result;
}

std::string markup_name(const std::string &name) { return name.empty() ? "<i>no name</i>" : markup_text(name); }
