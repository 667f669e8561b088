// Text in fields of fixed size, as records hold it.
#pragma once

#include <cstddef>
#include <cstring>
#include <string>

// Copies text into a field: whole when it fits, otherwise cut at the field's size less one, always terminated. Bytes
// behind the terminator stay as they were. A null text counts as empty. A field of size 0 stays as it is.
inline void copy_text(char *field, size_t size, const char *text) {
    if (size == 0)
        return;
    if (text == nullptr)
        text = "";
    const size_t length = strnlen(text, size - 1);
    std::memcpy(field, text, length);
    field[length] = '\0';
}

// As copy_text, behind the text that the field holds already.
inline void append_text(char *field, size_t size, const char *text) {
    if (size == 0)
        return;
    const size_t used = strnlen(field, size - 1);
    copy_text(field + used, size - used, text);
}

template <size_t Size>
void copy_text(char (&field)[Size], const char *text) {
    copy_text(field, Size, text);
}

// The text of a caller's field, terminated even where the field is full to its last byte; nothing behind the field is
// read.
template <size_t Size>
class FieldText {
public:
    explicit FieldText(const char (&field)[Size]) {
        const size_t length = strnlen(field, Size);
        std::memcpy(m_text, field, length);
        m_text[length] = '\0';
    }
    const char *c_str() const { return m_text; }

private:
    char m_text[Size + 1];
};

// The text in a field: up to its terminator, or the whole field when there is none.
template <size_t Size>
std::string field_text(const char (&field)[Size]) {
    return std::string(field, strnlen(field, Size));
}
