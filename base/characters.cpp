#include "base/characters.h"

#include <clocale>
#include <cwchar>

namespace {

struct Hidden {
    char32_t first;
    char32_t last;
    const char *name;
};

constexpr Hidden hidden_characters[] = {
    {0x00, 0x1f, "a control character"},
    {0x7f, 0x9f, "a control character"},
    {0xa0, 0xa0, "a no-break space"},
    {0xad, 0xad, "a soft hyphen"},
    {0x34f, 0x34f, "a character of no width"},
    {0x61c, 0x61c, "a mark of writing direction"},
    {0x115f, 0x1160, "a character of no width"},
    {0x1680, 0x1680, "a special blank"},
    {0x17b4, 0x17b5, "a character of no width"},
    {0x180b, 0x180f, "a character of no width"},
    {0x2000, 0x200a, "a special blank"},
    {0x200b, 0x200d, "a character of no width"},
    {0x200e, 0x200f, "a mark of writing direction"},
    {0x2028, 0x2029, "a line end of another kind"},
    {0x202a, 0x202e, "a mark of writing direction"},
    {0x202f, 0x202f, "a no-break space"},
    {0x205f, 0x205f, "a special blank"},
    {0x2060, 0x2064, "a character of no width"},
    {0x2066, 0x2069, "a mark of writing direction"},
    {0x206a, 0x206f, "a control character"},
    {0x3000, 0x3000, "a special blank"},
    {0x3164, 0x3164, "a character of no width"},
    {0xfe00, 0xfe0f, "a character of no width"},
    {0xfeff, 0xfeff, "a byte-order mark"},
    {0xffa0, 0xffa0, "a character of no width"},
    {0xfff9, 0xfffb, "a control character"},
    {0x1d173, 0x1d17a, "a control character"},
    {0xe0000, 0xe0fff, "a character of no width"},
};

// Reads the bytes behind the first. Zero when they do not belong to it.
char32_t joined(std::string_view text, size_t bytes, char32_t code) {
    if (bytes > text.size())
        return 0;
    for (size_t i = 1; i < bytes; ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if ((byte & 0xc0) != 0x80)
            return 0;
        code = code << 6 | (byte & 0x3fU);
    }
    return code;
}

// The locale says which characters are wide, whatever the user's own may be.
locale_t utf8_locale() {
    static const locale_t locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    return locale;
}

}  // namespace

Character first_character(std::string_view text) {
    if (text.empty())
        return {};
    const auto first = static_cast<unsigned char>(text[0]);
    if (first < 0x80)
        return {first, 1, true};
    const size_t bytes = first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : 2;
    static constexpr char32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
    const bool begins = first >= 0xc2 && first <= 0xf4;
    const char32_t code = begins ? joined(text, bytes, first & (0x7fU >> bytes)) : 0;
    const bool is_surrogate = code >= 0xd800 && code <= 0xdfff;
    if (code < smallest[bytes] || code > 0x10ffff || is_surrogate)
        return {first, 1, false};
    return {code, bytes, true};
}

const char *hidden_name(char32_t code) {
    for (const Hidden &range : hidden_characters)
        if (code >= range.first && code <= range.last)
            return range.name;
    return nullptr;
}

size_t character_columns(char32_t code) {
    if (code < 0x300)
        return 1;
    if (utf8_locale() == nullptr)
        return 1;
    const locale_t before = uselocale(utf8_locale());
    const int columns = wcwidth(static_cast<wchar_t>(code));
    uselocale(before);
    return columns < 0 ? 1 : static_cast<size_t>(columns);
}
