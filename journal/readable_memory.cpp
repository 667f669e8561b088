#include "journal/readable_memory.h"

#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

#include "base/thread_value.h"

namespace journal {

namespace {

constexpr uintptr_t PAGE = 4096;

struct Range {
    uintptr_t begin;
    uintptr_t end;
};

base::ThreadValue own_stack_begin;
base::ThreadValue own_stack_end;

Range find_own_stack() noexcept {
    Range range = {1, 1};
    pthread_attr_t attributes;
    if (pthread_getattr_np(pthread_self(), &attributes) != 0)
        return range;
    void *address = nullptr;
    size_t size = 0;
    if (pthread_attr_getstack(&attributes, &address, &size) == 0)
        range = {reinterpret_cast<uintptr_t>(address), reinterpret_cast<uintptr_t>(address) + size};
    pthread_attr_destroy(&attributes);
    return range;
}

// Between the frame of this function and the stack's far end: below it, pages may be missing.
bool is_on_own_stack(uintptr_t begin, uintptr_t end) noexcept {
    Range own_stack = {own_stack_begin.get(), own_stack_end.get()};
    if (own_stack.end == 0) {
        const int saved = errno;
        own_stack = find_own_stack();
        errno = saved;
        own_stack_begin.set(own_stack.begin);
        own_stack_end.set(own_stack.end);
    }
    const auto here = reinterpret_cast<uintptr_t>(__builtin_frame_address(0));
    return here >= own_stack.begin && begin >= here && end <= own_stack.end;
}

// An unknown way to change the signal mask changes nothing, but the kernel reads the new mask first.
bool word_can_be_read(uintptr_t address) noexcept {
    const uintptr_t word = address & ~uintptr_t{7};
#ifdef __x86_64__
    long result = 0;
    register long size asm("r10") = 8;
    asm volatile("syscall"
                 : "=a"(result)
                 : "a"(SYS_rt_sigprocmask), "D"(~0L), "S"(word), "d"(0L), "r"(size)
                 : "rcx", "r11", "memory");
    return result != -EFAULT;
#else
    const int saved = errno;
    const bool refused = syscall(SYS_rt_sigprocmask, ~0L, word, 0L, 8L) != 0 && errno == EFAULT;
    errno = saved;
    return !refused;
#endif
}

}  // namespace

bool is_readable(const void *memory, size_t size) noexcept {
    const auto begin = reinterpret_cast<uintptr_t>(memory);
    const uintptr_t end = begin + size;
    // The first page is never there, and the system takes the address 0 for no mask at all.
    if (begin < PAGE || end < begin)
        return false;
    if (size == 0 || is_on_own_stack(begin, end))
        return true;
    for (uintptr_t page = begin & ~(PAGE - 1); page < end; page += PAGE)
        if (!word_can_be_read(page < begin ? begin : page))
            return false;
        else if (page > UINTPTR_MAX - PAGE)
            break;
    return true;
}

}  // namespace journal
