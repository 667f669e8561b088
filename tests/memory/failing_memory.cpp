#include "tests/memory/failing_memory.h"

#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <new>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define OWN_MALLOC 0
#else
#define OWN_MALLOC 1
#endif

namespace {

thread_local int allocations_left = 0;  // until one fails; 0: none does
thread_local bool failed = false;
std::atomic<int64_t> in_use{0};

bool fails() {
    if (allocations_left == 0 || --allocations_left != 0)
        return false;
    failed = true;
    errno = ENOMEM;
    return true;
}

template <class Piece>
Piece *counted(Piece *piece) {
    if (piece != nullptr)
        ++in_use;
    return piece;
}

}  // namespace

FailingAllocation::FailingAllocation(int n) {
    failed = false;
    allocations_left = n;
}

FailingAllocation::~FailingAllocation() { allocations_left = 0; }

bool FailingAllocation::has_failed() { return failed; }

int64_t pieces_in_use() { return in_use; }

#if OWN_MALLOC

extern "C" {

// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the C library's own names
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *memory, size_t size);
void __libc_free(void *memory);
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

__attribute__((visibility("default"))) void *malloc(size_t size) {
    return fails() ? nullptr : counted(__libc_malloc(size));
}

__attribute__((visibility("default"))) void *calloc(size_t count, size_t size) {
    return fails() ? nullptr : counted(__libc_calloc(count, size));
}

__attribute__((visibility("default"))) void *realloc(void *memory, size_t size) {
    if (memory == nullptr)
        return malloc(size);
    return fails() ? nullptr : __libc_realloc(memory, size);
}

__attribute__((visibility("default"))) void free(void *memory) {
    if (memory != nullptr)
        --in_use;
    __libc_free(memory);
}

__attribute__((visibility("default"))) void *mmap(void *address, size_t length, int protection, int flags, int file,
                                                  off_t offset) noexcept {
    if (fails())
        return MAP_FAILED;
    const long mapped = syscall(SYS_mmap, address, length, protection, flags, file, offset);
    if (mapped != -1)
        ++in_use;
    return reinterpret_cast<void *>(mapped);
}

__attribute__((visibility("default"))) int munmap(void *address, size_t length) noexcept {
    --in_use;
    return static_cast<int>(syscall(SYS_munmap, address, length));
}

}  // extern "C"

#else

void *operator new(size_t size) {
    void *memory = fails() ? nullptr : counted(std::malloc(size));
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}

void *operator new(size_t size, const std::nothrow_t &) noexcept {
    return fails() ? nullptr : counted(std::malloc(size));
}

void *operator new[](size_t size) { return operator new(size); }
void *operator new[](size_t size, const std::nothrow_t &tag) noexcept { return operator new(size, tag); }

void operator delete(void *memory) noexcept {
    if (memory != nullptr)
        --in_use;
    std::free(memory);
}

void operator delete(void *memory, size_t) noexcept { operator delete(memory); }
void operator delete[](void *memory) noexcept { operator delete(memory); }
void operator delete[](void *memory, size_t) noexcept { operator delete(memory); }

#endif
