// The containers of names that the disk-array model is made of.
#pragma once

#include <ace/Containers_T.h>
#include <ace/Map_Manager.h>
#include <ace/RW_Thread_Mutex.h>
#include <ace/SString.h>

#include <cstddef>
#include <new>

using Name = ACE_String_Base<char>;
using NameList = ACE_Array<Name>;
// A set of host names; every value is 1. The most recently added name comes first in iteration.
using HostSet = ACE_Map_Manager<Name, int, ACE_RW_Thread_Mutex>;

// A text value of a file (a path, a word, a token; not a name) keeps its full length with a NUL in place of its last
// character, so only its C-string form means anything: use these two and never length() or ==.
inline const char *c_text(const Name &text) { return text.c_str() != nullptr ? text.c_str() : ""; }
inline bool is_empty_text(const Name &text) { return *c_text(text) == '\0'; }

// Sets the size of an ACE array, which reports a failed allocation by a status, and not at all in its constructors: so
// arrays are made empty and sized here. Throws std::bad_alloc.
template <class Array>
void resize(Array &array, size_t size) {
    if (array.size(size) != 0)
        throw std::bad_alloc();
}

// Replaces target by the first count elements of source, with room for no more. Both may be the same array.
template <class Array>
void copy_exactly(const Array &source, size_t count, Array &target) {
    Array copy;
    resize(copy, count);
    for (size_t i = 0; i < count; ++i)
        copy[i] = source[i];
    target.swap(copy);
}
