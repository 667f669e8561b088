#include "simhost/host/null_call.h"

#include <gtest/gtest.h>

#include <cstring>

#include "stspi/stspi.h"

namespace {

// Leaves the stack below the caller full of what is no null.
[[gnu::noinline]] void fill_stack() {
    char rubbish[1 << 14];
    std::memset(rubbish, 0xa5, sizeof rubbish);
    asm volatile("" : : "r"(rubbish) : "memory");
}

// As many arguments as the longest lists have, stspi_create_server's and stspi_copy_extent's, and more.
int32_t arguments_that_are_not_null(uint64_t a, uint64_t b, uint64_t c, uint64_t d, uint64_t e, uint64_t f, uint64_t g,
                                    uint64_t h, uint64_t i, uint64_t j) {
    int32_t count = 0;
    for (const uint64_t argument : {a, b, c, d, e, f, g, h, i, j})
        count += argument == 0 ? 0 : 1;
    return count;
}

}  // namespace

TEST(CallWithNulls, HandsOverNullsBehindTheRegistersToo) {
    fill_stack();
    EXPECT_EQ(call_with_nulls(reinterpret_cast<sts_entry_point_t>(arguments_that_are_not_null)), 0);
}

TEST(CallWithNulls, GivesTheStatus) {
    fill_stack();
    const auto refuse = +[]() -> int32_t { return STS_E_NOT_SUPPORTED; };
    EXPECT_EQ(call_with_nulls(reinterpret_cast<sts_entry_point_t>(refuse)), STS_E_NOT_SUPPORTED);
}
