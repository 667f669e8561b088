#include "tests/unit/stsimage/failing_allocations.h"

#include <atomic>
#include <cstdlib>
#include <new>

#include "tests/unit/stsimage/failing_calls.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define SANITIZED 1
#endif
#endif
#ifndef SANITIZED
#define SANITIZED 0
#endif

namespace {

std::atomic<int64_t> allocations{0};

}  // namespace

int64_t live_allocations() { return allocations; }

// The sanitizers have a malloc of their own; there, operator new below is what fails.
#if !SANITIZED
extern "C" {
void *__libc_malloc(size_t size);
void *malloc(size_t size) noexcept { return fails(Call::memory) ? nullptr : __libc_malloc(size); }
}
#endif

void *operator new(size_t size, const std::nothrow_t &) noexcept {
#if SANITIZED
    if (fails(Call::memory))
        return nullptr;
#endif
    void *memory = std::malloc(size);
    if (memory != nullptr)
        ++allocations;
    return memory;
}

void *operator new(size_t size) {
    void *memory = operator new(size, std::nothrow);
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}

void operator delete(void *memory) noexcept {
    if (memory != nullptr)
        --allocations;
    std::free(memory);
}

void operator delete(void *memory, size_t) noexcept { operator delete(memory); }
