// The text that the disk-array model is made of.
#pragma once

#include <ace/SString.h>

#include <cstddef>

#include "sim/throwing_allocator.h"

// An ACE string that throws std::bad_alloc where ACE's own would become empty, and that can be moved.
class Name : public ACE_String_Base<char> {
public:
    Name() : ACE_String_Base(throwing_allocator()) {}
    Name(const char *text) : ACE_String_Base(text, throwing_allocator()) {}
    Name(const char *text, size_t length) : ACE_String_Base(text, length, throwing_allocator()) {}
    Name(const ACE_String_Base<char> &text) : Name(text.c_str(), text.length()) {}
    Name(const Name &other) = default;
    Name(Name &&other) noexcept : Name() { swap(other); }
    // A literal, which is not copied.
    template <size_t Size>
    static Name literal(const char (&text)[Size]) {
        Name name;
        name.set(text, Size - 1, false);
        return name;
    }
    ~Name() = default;
    Name &operator=(const Name &other) = default;
    Name &operator=(Name &&other) noexcept {
        swap(other);
        return *this;
    }
};

// A text value of a file (a path, a word, a token; not a name) keeps its full length with a NUL in place of its last
// character, so only its C-string form means anything: use these two and never length() or ==. Names may be read so too.
inline const char *c_text(const Name &text) { return text.c_str(); }
inline bool is_empty_text(const Name &text) { return *c_text(text) == '\0'; }
