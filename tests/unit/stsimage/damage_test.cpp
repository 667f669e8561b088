// Files that do not hold what was written: found, named, and never taken for data.
#include <fcntl.h>
#include <unistd.h>
#include <xxhash.h>

#include <cstring>
#include <random>

#include "tests/unit/stsimage/file_bytes.h"
#include "tests/unit/stsimage/image_test.h"

namespace fs = std::filesystem;

namespace {

constexpr uint64_t data_begin = 1 << 20;

std::string number(uint64_t value) { return std::to_string(value); }

bool tells_of_damage(int32_t status) {
    return status == STSIMG_E_DAMAGED || status == STSIMG_E_TRUNCATED || status == STSIMG_E_NOT_AN_IMAGE ||
           status == STSIMG_E_UNKNOWN_VERSION;
}

}  // namespace

// One image with whole, partial and gapped blocks in two groups.
class DamagedFile : public ImageTest {
protected:
    DamagedFile() {
        sts_image_handle_t image = nullptr;
        EXPECT_EQ(create("victim", image), 0);
        EXPECT_EQ(write(image, pattern(100000)), 0);
        EXPECT_EQ(write(image, pattern(20000, 2), 300000), 0);
        EXPECT_EQ(write(image, pattern(9000, 3), 2048 * 4096 + 5000), 0);
        EXPECT_EQ(stsimg_close_image(image), 0);
        intact = content("victim");
        EXPECT_EQ(intact.size(), 2048u * 4096 + 14000);
    }

    fs::path file() const { return file_of("victim"); }

    void expect_found(const std::string &what) {
        std::string data;
        const int32_t status = fetch("victim", data);
        EXPECT_TRUE(tells_of_damage(status)) << what << " gives " << status;
        EXPECT_NE(std::string(stsimg_last_error()).find(file()), std::string::npos) << stsimg_last_error();
    }

    std::string intact;
};

TEST_F(DamagedFile, BitFlipInEveryPageIsFound) {
    std::mt19937 random(11);
    const std::vector<uint64_t> pages = data_pages(file());
    ASSERT_GT(pages.size(), 30u);
    const uint64_t size = fs::file_size(file());
    for (const uint64_t page : pages)
        for (int round = 0; round < 2; ++round) {
            const uint64_t offset = page + random() % std::min<uint64_t>(4096, size - page);
            const int bit = static_cast<int>(random() % 8);
            flip_bit(file(), offset, bit);
            expect_found("offset " + number(offset) + " bit " + number(static_cast<uint64_t>(bit)));
            flip_bit(file(), offset, bit);
        }
    EXPECT_TRUE(content("victim") == intact);
}

TEST_F(DamagedFile, BitFlipInEveryByteOfHeaderAndIndexIsFound) {
    const uint64_t size = fs::file_size(file());
    std::vector<uint64_t> offsets;
    for (uint64_t offset = 0; offset < 4096; ++offset)
        offsets.push_back(offset);
    for (uint64_t offset = size - 32; offset < size; ++offset)
        offsets.push_back(offset);
    for (const uint64_t offset : offsets) {
        flip_bit(file(), offset, static_cast<int>(offset % 8));
        expect_found("offset " + number(offset));
        sts_image_info_t properties;
        if (offset < 4096) {
            EXPECT_TRUE(tells_of_damage(info("victim", properties))) << offset;
        }
        flip_bit(file(), offset, static_cast<int>(offset % 8));
    }
    EXPECT_TRUE(content("victim") == intact);
}

TEST_F(DamagedFile, TruncationAnywhereIsFound) {
    const fs::path whole = root() / "whole";
    fs::copy_file(file(), whole);
    const uint64_t size = fs::file_size(file());
    std::vector<uint64_t> lengths{0, 1, 7, 8, 100, 4095, 4096, size - 1, size - 16, size - 32, size - 33};
    for (const uint64_t page : data_pages(file()))
        lengths.insert(lengths.end(), {page, page + 1});
    for (const uint64_t length : lengths) {
        if (length >= size)
            continue;
        fs::resize_file(file(), length);
        std::string data;
        EXPECT_EQ(fetch("victim", data), length < 8 ? STSIMG_E_NOT_AN_IMAGE : STSIMG_E_TRUNCATED) << length;
        fs::remove(file());
        fs::copy_file(whole, file());
    }
    EXPECT_TRUE(content("victim") == intact);
}

TEST_F(DamagedFile, MoreBytesAreFound) {
    put_file_bytes(file(), fs::file_size(file()), "x");
    std::string data;
    EXPECT_EQ(fetch("victim", data), STSIMG_E_DAMAGED);
}

TEST_F(DamagedFile, BlocksInEachOthersPlaceAreFound) {
    const std::string first = file_bytes(file(), data_begin, 4096);
    const std::string second = file_bytes(file(), data_begin + 4096, 4096);
    put_file_bytes(file(), data_begin, second);
    put_file_bytes(file(), data_begin + 4096, first);
    expect_found("swapped blocks");
}

TEST_F(DamagedFile, BlockOfAnotherImageIsFound) {
    ASSERT_EQ(store("other", pattern(100000)), 0);
    const std::string same_data = file_bytes(file_of("other"), data_begin, 4096);
    ASSERT_EQ(same_data, file_bytes(file(), data_begin, 4096));
    // With its own table, the block of the other image would pass.
    put_file_bytes(file(), 16384, file_bytes(file_of("other"), 16384, 16384));
    expect_found("the table of another image");
}

TEST_F(DamagedFile, PunchedTableIsNotTakenForAGap) {
    const int descriptor = ::open(file().c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(fallocate(descriptor, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, 16384, 16384), 0);
    ::close(descriptor);
    expect_found("a hole in place of a table");
}

TEST_F(DamagedFile, DamageAfterOpeningIsFoundAndNamed) {
    sts_image_handle_t image = nullptr;
    ASSERT_EQ(open("victim", STSIMG_MODE_READ, image), 0);
    std::string data;
    ASSERT_EQ(read(image, data, 50000), 0);
    flip_bit(file(), data_begin + 3 * 4096 + 5, 1);
    EXPECT_EQ(read(image, data, 50000), STSIMG_E_DAMAGED);
    const std::string message = stsimg_last_error();
    EXPECT_NE(message.find(file()), std::string::npos) << message;
    EXPECT_NE(message.find("offset " + number(data_begin + 3 * 4096)), std::string::npos) << message;
    EXPECT_EQ(read(image, data, 4096), 0);
    flip_bit(file(), data_begin + 3 * 4096 + 5, 1);
    EXPECT_EQ(read(image, data, 50000), 0);
    fs::resize_file(file(), data_begin + 8192);
    EXPECT_EQ(read(image, data, 50000), STSIMG_E_TRUNCATED);
    EXPECT_EQ(stsimg_close_image(image), 0);
}

TEST_F(DamagedFile, IsNeitherCopiedForWritingNorAnObstacleToReplacingAndDeleting) {
    flip_bit(file(), 100, 0);
    sts_image_handle_t image = nullptr;
    EXPECT_EQ(open("victim", STSIMG_MODE_WRITE, image), STSIMG_E_DAMAGED);
    EXPECT_FALSE(fs::exists(unfinished()));
    ASSERT_EQ(store("victim", "new"), 0);
    EXPECT_EQ(content("victim"), "new");
    flip_bit(file(), 100, 0);
    EXPECT_EQ(remove("victim"), 0);
    EXPECT_TRUE(names().empty());
}

TEST_F(DamagedFile, DamagedBlockIsNotHiddenByWritingAPartOfIt) {
    flip_bit(file(), data_begin + 100, 0);
    sts_image_handle_t image = nullptr;
    ASSERT_EQ(open("victim", STSIMG_MODE_WRITE, image), 0);
    EXPECT_EQ(write(image, "new", 5), STSIMG_E_DAMAGED);
    EXPECT_EQ(write(image, "new", 50000), STSIMG_E_DAMAGED);
    EXPECT_EQ(stsimg_close_image(image), STSIMG_E_DAMAGED);
    EXPECT_EQ(file_bytes(file(), data_begin + 200, 100), intact.substr(200, 100));
}

TEST_F(DamagedFile, UnknownVersionIsRefused) {
    std::string header = file_bytes(file(), 0, 4096);
    header[8] = 2;
    const uint64_t checksum = XXH3_64bits(header.data(), 4088);
    std::memcpy(&header[4088], &checksum, sizeof checksum);
    put_file_bytes(file(), 0, header);
    std::string data;
    EXPECT_EQ(fetch("victim", data), STSIMG_E_UNKNOWN_VERSION);
    EXPECT_NE(std::string(stsimg_last_error()).find("version 2"), std::string::npos) << stsimg_last_error();
}

TEST_F(DamagedFile, ForeignFileIsNoImage) {
    put_file_bytes(file(), 0, pattern(4096, 9));
    std::string data;
    EXPECT_EQ(fetch("victim", data), STSIMG_E_NOT_AN_IMAGE);
}

// A header whose checksum is right but whose figures are not: made by hand, or by a fault in another program.
TEST_F(DamagedFile, ContradictingHeaderIsRefused) {
    const std::string good = file_bytes(file(), 0, 4096);
    struct Change {
        size_t offset;
        uint64_t value;
    };
    for (const Change change :
         {Change{32, UINT64_MAX}, Change{32, 0}, Change{32, 5}, Change{48, 0}, Change{48, UINT64_MAX},
          Change{56, UINT64_MAX}, Change{56, uint64_t{1} << 60}, Change{56, 0}, Change{12, 0}}) {
        std::string header = good;
        std::memcpy(&header[change.offset], &change.value, sizeof change.value);
        const uint64_t checksum = XXH3_64bits(header.data(), 4088);
        std::memcpy(&header[4088], &checksum, sizeof checksum);
        put_file_bytes(file(), 0, header);
        std::string data;
        EXPECT_TRUE(tells_of_damage(fetch("victim", data))) << change.offset << " " << change.value;
    }
}
