#include "stsimage/s3/extent_map.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "tests/support/seeds.h"

using stsimage::s3::ExtentMap;

TEST(ExtentMap, StreamIsOneExtent) {
    ExtentMap map;
    for (uint64_t place = 0; place < 1000; place += 10)
        map.assign(place, 10, 500 + place);
    EXPECT_EQ(map.bytes().size(), 24u);
    const ExtentMap::Run run = map.find(5, 10'000);
    EXPECT_TRUE(run.is_written);
    EXPECT_EQ(run.length, 995u);
    EXPECT_EQ(run.log_place, 505u);
    EXPECT_FALSE(map.find(1000, 7).is_written);
    EXPECT_EQ(map.find(1000, 7).length, 7u);
}

// Held against an array that says for every place where it lies.
TEST(ExtentMap, RandomWritesAndCutsAreFoundAgain) {
    constexpr uint64_t size = 300;
    for (const uint32_t first : seeds_of("ExtentMap.RandomWritesAndCutsAreFoundAgain", 1)) {
        for (uint32_t seed = first; seed != first + 200; ++seed) {
            SCOPED_TRACE("seed " + std::to_string(seed));
            std::mt19937 random(seed);
            ExtentMap map;
            std::vector<uint64_t> places(size, 0);  // 0: never written
            uint64_t log_end = 1;
            for (int step = 0; step < 60; ++step) {
                const uint64_t place = random() % size, length = random() % (size - place + 1);
                if (random() % 8 == 0) {
                    map.cut(place);
                    std::fill(places.begin() + static_cast<ptrdiff_t>(place), places.end(), 0);
                    continue;
                }
                map.assign(place, length, log_end);
                for (uint64_t number = 0; number < length; ++number)
                    places[place + number] = log_end + number;
                log_end += length;
            }
            ExtentMap read;
            ASSERT_TRUE(ExtentMap::read(map.bytes(), size, log_end, read));
            for (uint64_t place = 0; place < size;) {
                const ExtentMap::Run run = read.find(place, size - place);
                ASSERT_GT(run.length, 0u);
                for (uint64_t number = 0; number < run.length; ++number)
                    ASSERT_EQ(places[place + number], run.is_written ? run.log_place + number : 0);
                place += run.length;
            }
        }
    }
}

TEST(ExtentMap, BytesThatAreNoMapAreRefused) {
    ExtentMap map, read;
    map.assign(0, 10, 0);
    map.assign(20, 10, 10);
    const std::string bytes = map.bytes();
    EXPECT_TRUE(ExtentMap::read(bytes, 30, 20, read));
    EXPECT_FALSE(ExtentMap::read(bytes, 29, 20, read)) << "beyond the image";
    EXPECT_FALSE(ExtentMap::read(bytes, 30, 19, read)) << "beyond the log";
    EXPECT_FALSE(ExtentMap::read(bytes.substr(1), 30, 20, read)) << "of no whole number of extents";
    EXPECT_FALSE(ExtentMap::read(bytes.substr(24) + bytes.substr(0, 24), 30, 20, read)) << "out of order";
    EXPECT_FALSE(ExtentMap::read(std::string(24, '\xff'), 30, 20, read)) << "so large that sums overflow";
    EXPECT_FALSE(ExtentMap::read(std::string(24, '\0'), 30, 20, read)) << "of nothing";
}
