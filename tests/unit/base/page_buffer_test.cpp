#include "base/page_buffer.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

TEST(PageBuffer, BeginsWithAPageAndHasRoomForAllOfIt) {
    for (const size_t bytes : {size_t{1}, size_t{4096}, size_t{100000}, size_t{1} << 20}) {
        PageBuffer buffer(bytes);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(buffer.data()) % 4096, 0u) << bytes;
        EXPECT_EQ(buffer.size(), bytes);
        std::memset(buffer.data(), 1, bytes);
    }
}

}  // namespace
