#include "journal/readable_memory.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <memory>
#include <thread>

using journal::is_readable;

namespace {

const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));

// Pages of which the last may not be touched.
struct Pages {
    explicit Pages(size_t readable)
        : size((readable + 1) * page),
          base(static_cast<char *>(mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0))) {
        mprotect(base + readable * page, page, PROT_NONE);
    }
    ~Pages() { munmap(base, size); }
    Pages(const Pages &) = delete;
    Pages &operator=(const Pages &) = delete;

    size_t size;
    char *base;
};

const void *address(uintptr_t value) { return reinterpret_cast<const void *>(value); }

}  // namespace

TEST(ReadableMemory, NullIsNot) {
    EXPECT_FALSE(is_readable(nullptr, 0));
    EXPECT_FALSE(is_readable(nullptr, 1));
}

TEST(ReadableMemory, MadeUpAddressesAreNot) {
    for (const uintptr_t value : {uintptr_t{1}, uintptr_t{0x222}, uintptr_t{0x1111111111111111}, ~uintptr_t{0},
                                  ~uintptr_t{7}, uintptr_t{0x800000000000}})
        EXPECT_FALSE(is_readable(address(value), 8)) << value;
}

TEST(ReadableMemory, RunningOverTheEndOfTheAddressSpaceIsNot) {
    const int variable = 0;
    EXPECT_FALSE(is_readable(&variable, ~size_t{0}));
    EXPECT_FALSE(is_readable(address(~uintptr_t{4094}), 4095));
}

TEST(ReadableMemory, OfTheHeapAndTheStackIs) {
    const auto heap = std::make_unique<char[]>(100000);
    const char stack[1000] = {};
    EXPECT_TRUE(is_readable(heap.get(), 100000));
    EXPECT_TRUE(is_readable(stack, sizeof stack));
    std::thread([] {
        const char own[1000] = {};
        EXPECT_TRUE(is_readable(own, sizeof own));
    }).join();
}

TEST(ReadableMemory, EndsAtAProtectedPage) {
    const Pages pages(3);
    char *end = pages.base + 3 * page;
    EXPECT_TRUE(is_readable(pages.base, 3 * page));
    EXPECT_TRUE(is_readable(end - 1, 1));
    EXPECT_TRUE(is_readable(end - 5, 5));
    EXPECT_FALSE(is_readable(end - 5, 6));
    EXPECT_FALSE(is_readable(end, 1));
    EXPECT_FALSE(is_readable(pages.base + 1, 3 * page));
}

TEST(ReadableMemory, OfAThreadsStackAboveItsBeginningIsNot) {
    // The guard page of another thread's stack is no part of the caller's own.
    const Pages pages(1);
    std::thread([&pages] { EXPECT_FALSE(is_readable(pages.base + page, 1)); }).join();
}

TEST(ReadableMemory, LeavesErrnoAlone) {
    errno = 1234;
    is_readable(address(0x222), 8);
    is_readable(&errno, sizeof errno);
    EXPECT_EQ(errno, 1234);
    std::thread([] {
        errno = 1234;
        const int own = 0;
        is_readable(&own, sizeof own);
        EXPECT_EQ(errno, 1234);
    }).join();
}
