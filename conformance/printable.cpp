#include "printable.h"

#include <fmt/format.h>

#include <cstring>

namespace conformance {

std::string quoted(const std::string &text, size_t longest) {
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
            out += fmt::format("\\x{:02x}", byte);
        else
            out += text[i];
    }
    out += '"';
    if (text.size() > longest)
        out += fmt::format("... ({} bytes)", text.size());
    return out;
}

std::string quoted_or_null(const char *text) { return text == nullptr ? "null" : quoted(text, 80); }

}  // namespace conformance
