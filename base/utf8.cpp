#include "base/utf8.h"

namespace {

size_t announced_length(unsigned char first) {
    if (first >= 0xc2 && first <= 0xdf)
        return 2;
    if (first >= 0xe0 && first <= 0xef)
        return 3;
    return first >= 0xf0 && first <= 0xf4 ? 4 : 1;
}

}  // namespace

size_t utf8_length(std::string_view text) {
    if (text.empty())
        return 0;
    const size_t length = announced_length(static_cast<unsigned char>(text[0]));
    if (length > text.size())
        return 1;
    for (size_t i = 1; i < length; ++i)
        if ((static_cast<unsigned char>(text[i]) & 0xc0) != 0x80)
            return 1;
    return length;
}

size_t utf8_count(std::string_view text) {
    size_t count = 0;
    for (; !text.empty(); text.remove_prefix(utf8_length(text)))
        ++count;
    return count;
}
