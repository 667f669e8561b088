#include <gtest/gtest.h>

#include <cstdint>

namespace {

constexpr int32_t answer = -4711;

// More than any processor passes in registers, of both kinds: the rest travels on the stack.
#define WIDE_PARAMETERS                                                                                        \
    uint64_t i0, uint64_t i1, uint64_t i2, uint64_t i3, uint64_t i4, uint64_t i5, uint64_t i6, uint64_t i7,    \
        uint64_t i8, uint64_t i9, double d0, double d1, double d2, double d3, double d4, double d5, double d6, \
        double d7, double d8, double d9

struct Received {
    const char *function = nullptr;
    uint64_t integers[10] = {};
    double reals[10] = {};
};
Received received;

}  // namespace

// The headers stay out of this file: they know these functions by their documented parameters.
extern "C" {

using WideFunction = int32_t(WIDE_PARAMETERS);

#define IMAGE_LIBRARY_FUNCTION(operation)                                                                            \
    WideFunction stsimg_##operation;                                                                                 \
    WideFunction stspi_##operation;                                                                                  \
    int32_t stsimg_##operation(WIDE_PARAMETERS) {                                                                    \
        received = {#operation, {i0, i1, i2, i3, i4, i5, i6, i7, i8, i9}, {d0, d1, d2, d3, d4, d5, d6, d7, d8, d9}}; \
        return answer;                                                                                               \
    }

IMAGE_LIBRARY_FUNCTION(close_image)
IMAGE_LIBRARY_FUNCTION(close_image_list)
IMAGE_LIBRARY_FUNCTION(get_image_prop)
IMAGE_LIBRARY_FUNCTION(list_image)
IMAGE_LIBRARY_FUNCTION(read_image)
IMAGE_LIBRARY_FUNCTION(write_image)

}  // extern "C"

namespace {

struct Operation {
    const char *name;
    WideFunction *entry_point;
};

constexpr Operation operations[] = {
    {"close_image", stspi_close_image},       {"close_image_list", stspi_close_image_list},
    {"get_image_prop", stspi_get_image_prop}, {"list_image", stspi_list_image},
    {"read_image", stspi_read_image},         {"write_image", stspi_write_image}};

// All 64 bits differ from one argument to the next.
constexpr uint64_t pattern(uint64_t place) { return 0x9e3779b97f4a7c15 * (place + 1); }
constexpr double real(uint64_t place) { return -1.0 / static_cast<double>(place + 3); }

}  // namespace

TEST(PassThrough, EveryArgumentArrivesInRegistersAndOnTheStack) {
    for (const Operation &operation : operations) {
        SCOPED_TRACE(operation.name);
        received = {};
        const int32_t status = operation.entry_point(
            pattern(0), pattern(1), pattern(2), pattern(3), pattern(4), pattern(5), pattern(6), pattern(7), pattern(8),
            pattern(9), real(0), real(1), real(2), real(3), real(4), real(5), real(6), real(7), real(8), real(9));
        EXPECT_EQ(status, answer);
        EXPECT_STREQ(received.function, operation.name);
        for (uint64_t place = 0; place < 10; ++place) {
            EXPECT_EQ(received.integers[place], pattern(place)) << place;
            EXPECT_EQ(received.reals[place], real(place)) << place;
        }
    }
}
