// Reads and writes anywhere, in any order: what chance chooses.
#include <algorithm>
#include <random>
#include <vector>

#include "tests/support/seeds.h"
#include "tests/unit/stsimage/image_test.h"

using WriteImage = ImageTest;
using ReadImage = ImageTest;

TEST_F(WriteImage, AnyOrderGivesTheSameBytes) {
    const std::string data = pattern(3000000);
    for (const uint32_t seed : seeds_of("WriteImage.AnyOrderGivesTheSameBytes", 5)) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::vector<size_t> places;
        for (size_t place = 0; place < data.size(); place += 7001)
            places.push_back(place);
        std::shuffle(places.begin(), places.end(), std::mt19937(seed));
        sts_image_handle_t image = nullptr;
        ASSERT_EQ(create("shuffled", image), 0);
        for (const size_t place : places)
            ASSERT_EQ(write(image, std::string_view(data).substr(place, 7001), place), 0);
        ASSERT_EQ(stsimg_close_image(image), 0);
        EXPECT_TRUE(content("shuffled") == data);
    }
}

TEST_F(ReadImage, AnyRangeMatches) {
    const std::string data = pattern(300000);
    ASSERT_EQ(store("ranges", data), 0);
    sts_image_handle_t image = nullptr;
    ASSERT_EQ(open("ranges", STSIMG_MODE_READ, image), 0);
    for (const uint32_t seed : seeds_of("ReadImage.AnyRangeMatches", 3)) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        for (int round = 0; round < 2000; ++round) {
            const size_t offset = random() % data.size();
            const size_t length = random() % (round % 2 == 0 ? 30000 : 5000);
            std::string got;
            ASSERT_EQ(read(image, got, length, offset), 0);
            ASSERT_TRUE(got == data.substr(offset, length)) << offset << " " << length;
        }
    }
    EXPECT_EQ(stsimg_close_image(image), 0);
}

// Writes and reads of all shapes around a few blocks, beside the same in plain memory.
TEST_F(WriteImage, AnySequenceOfWritesAndReadsAgreesWithPlainMemory) {
    for (const uint32_t seed : seeds_of("WriteImage.AnySequenceOfWritesAndReadsAgreesWithPlainMemory", 23)) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        const auto place = [&random] {
            const uint64_t block = random() % 8 * 4096;
            return random() % 2 == 0 ? block : block + random() % 4096;
        };
        for (uint64_t round = 0; round < 60; ++round) {
            const uint64_t base = round % 2 == 0 ? 0 : (2048 - 4) * 4096;  // where a group ends, too
            std::string expected(round % 3 == 0 ? 0 : base + place(), 'x');
            ASSERT_EQ(store("image", expected), 0);
            sts_image_handle_t image = nullptr;
            ASSERT_EQ(open("image", STSIMG_MODE_WRITE, image), 0);
            for (uint64_t step = 0; step < 30; ++step) {
                uint64_t begin = base + place(), end = base + place();
                if (begin > end)
                    std::swap(begin, end);
                if (random() % 4 == 0) {
                    std::string data;
                    ASSERT_EQ(read(image, data, end - begin, begin), 0);
                    ASSERT_TRUE(data == (begin < expected.size() ? expected.substr(begin, end - begin) : "")) << round;
                } else if (end > begin) {
                    const std::string data = pattern(end - begin, round * 100 + step);
                    ASSERT_EQ(write(image, data, begin), 0);
                    expected.resize(std::max<uint64_t>(expected.size(), end));
                    expected.replace(begin, data.size(), data);
                }
            }
            ASSERT_EQ(stsimg_close_image(image), 0);
            ASSERT_TRUE(content("image") == expected) << round;
        }
    }
}
