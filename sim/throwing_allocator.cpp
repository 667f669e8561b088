#include "sim/throwing_allocator.h"

#include <ace/Malloc_Allocator.h>

#include <new>

namespace {

class ThrowingAllocator final : public ACE_New_Allocator {
public:
    // What ACE_New_Allocator frees.
    void *malloc(size_t size) override { return new char[size]; }
};

}  // namespace

ACE_Allocator *throwing_allocator() noexcept {
    // In memory of the library's own: a text of the process may give its memory back after every destructor has run.
    alignas(ThrowingAllocator) static char room[sizeof(ThrowingAllocator)];
    static ACE_Allocator *const allocator = new (room) ThrowingAllocator;
    return allocator;
}
