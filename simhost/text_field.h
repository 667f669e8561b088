// Texts that go into and come out of the interface's records.
#pragma once

#include <cstddef>
#include <cstring>
#include <string>

// The text in a fixed-size field: up to its terminator, or the whole field when a plug-in left none.
template <size_t Size>
std::string field_text(const char (&field)[Size]) {
    return std::string(field, strnlen(field, Size));
}

// Puts a text into a field. Throws UsageError, naming what the text is, when it does not fit or holds a NUL.
void set_field(char *field, size_t size, const std::string &text, const char *what);

template <size_t Size>
void set_field(char (&field)[Size], const std::string &text, const char *what) {
    set_field(field, Size, text, what);
}

// The text in double quotes, safe on a terminal: control characters, '"' and '\' as escapes.
std::string in_quotes(const std::string &text);

// The same without the quotes, for texts that stand on a line of their own.
std::string printable(const std::string &text);
