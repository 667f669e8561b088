#include "filter/caller_stack.h"

#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>

#include "base/thread_value.h"

namespace filter {

namespace {

constexpr uint64_t page = 4096;

base::ThreadValue known_readable;

// Whether the page after the one that a thread's stack pointer is in can be read, remembered for the latest one.
bool is_page_readable(uint64_t address) {
    if (known_readable.get() == address)
        return true;
    char byte = 0;
    const int error = errno;
    const iovec here = {&byte, 1};
    const iovec there = {reinterpret_cast<void *>(address), 1};  // NOLINT(performance-no-int-to-ptr)
    const bool readable = process_vm_readv(getpid(), &here, 1, &there, 1, 0) == 1;
    errno = error;
    if (readable)
        known_readable.set(address);
    return readable;
}

}  // namespace

uint64_t readable_words(const uint64_t *stack, uint64_t most) {
    const auto begin = reinterpret_cast<uint64_t>(stack);
    const uint64_t next_page = (begin / page + 1) * page;
    uint64_t words = most;
    if (begin + most * 8 > next_page && !is_page_readable(next_page))
        words = (next_page - begin) / 8;
    return words & ~uint64_t{1};
}

}  // namespace filter
