// Sizes of ACE arrays.
#pragma once

#include <cstddef>
#include <utility>

#include "sim/throwing_allocator.h"

namespace array_size {

// Moves the first count elements of array into one with room for size, which takes its place.
template <class Array>
void move_to(Array &array, size_t count, size_t size) {
    Array moved(size, throwing_allocator());
    for (size_t i = 0; i < count; ++i)
        moved[i] = std::move(array[i]);
    array.swap(moved);
}

}  // namespace array_size

// Sets the size of an array; elements that it had stay. ACE's own growth would tell a failed allocation by a status, and
// lose memory when an element cannot be copied. Throws std::bad_alloc, with the array as it was.
template <class Array>
void resize(Array &array, size_t size) {
    if (size > array.max_size())
        array_size::move_to(array, array.size(), size);
    else
        array.size(size);
}

// Cuts an array to its first count elements and gives the memory of the others back. Throws std::bad_alloc, with the
// array as it was.
template <class Array>
void cut(Array &array, size_t count) {
    array_size::move_to(array, count, count);
}
