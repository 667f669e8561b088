#include "base/number_field.h"

#include <gtest/gtest.h>

#include <string>

namespace {

// Bytes on both sides, which nobody may touch.
template <class Number>
struct GuardedNumber {
    unsigned char before;
    Number number;
    unsigned char behind;
};

template <class Number>
void expect_own_width(Number number, uint64_t wider) {
    GuardedNumber<Number> field = {0xaa, number, 0xbb};
    EXPECT_EQ(number_in_field(&field.number, sizeof field.number), uint64_t{number});
    put_number(&field.number, sizeof field.number, wider);
    EXPECT_EQ(field.number, static_cast<Number>(wider));
    EXPECT_EQ(field.before, 0xaa);
    EXPECT_EQ(field.behind, 0xbb);
}

}  // namespace

TEST(NumberField, IsReadAndWrittenInItsOwnWidth) {
    constexpr uint64_t wider = 0x0102030405060708;
    expect_own_width<uint8_t>(0xf1, wider);
    expect_own_width<uint16_t>(0xf122, wider);
    expect_own_width<uint32_t>(0xf1223344, wider);
    expect_own_width<uint64_t>(0xf122334455667788, wider);
}

TEST(NumberField, MayLieAnywhere) {
    unsigned char bytes[16] = {};
    put_number(bytes + 1, 4, 0x12345678);
    EXPECT_EQ(number_in_field(bytes + 1, 4), 0x12345678U);
    EXPECT_EQ(bytes[0], 0);
    EXPECT_EQ(bytes[5], 0);
}

TEST(NumberField, OfAnotherSizeIsLeftAlone) {
    std::string text = "a text";
    for (const size_t size : {size_t{0}, size_t{3}, text.size()}) {
        EXPECT_EQ(number_in_field(text.data(), size), 0U);
        put_number(text.data(), size, ~uint64_t{0});
        EXPECT_EQ(text, "a text");
    }
}
