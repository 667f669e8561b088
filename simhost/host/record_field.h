// Texts that go into the interface's records.
#pragma once

#include <cstddef>
#include <string>

// Puts a text into a field. Throws UsageError, naming what the text is, when it does not fit or holds a NUL.
void set_field(char *field, size_t size, const std::string &text, const char *what);

template <size_t Size>
void set_field(char (&field)[Size], const std::string &text, const char *what) {
    set_field(field, Size, text, what);
}
