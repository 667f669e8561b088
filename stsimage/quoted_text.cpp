#include "stsimage/quoted_text.h"

namespace stsimage {

QuotedText::QuotedText(std::string_view text) {
    static constexpr char digits[] = "0123456789abcdef";
    size_t used = 0;
    const auto append = [this, &used](char character) { buffer[used++] = character; };
    append('"');
    bool cut = false;
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        const bool plain = byte >= 0x20 && byte < 0x7f && byte != '"' && byte != '\\';
        cut = used + (plain ? 1 : 4) > longest + 1;
        if (cut)
            break;
        if (plain) {
            append(character);
        } else {
            append('\\');
            append('x');
            append(digits[byte >> 4]);
            append(digits[byte & 15]);
        }
    }
    append('"');
    for (int dots = 0; cut && dots < 3; ++dots)
        append('.');
    append('\0');
}

}  // namespace stsimage
