// Files that do not hold what was written: found, named, and never taken for data.
#include <fcntl.h>
#include <unistd.h>
#include <xxhash.h>

#include <cstdlib>
#include <fstream>
#include <random>

#include "tests/support/seeds.h"
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
class DamagedFile : public DirectoryTest {
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

    // Gives a header its checksum and puts it into a file.
    static void put_header(const fs::path &path, std::string header) {
        put_number(header, 4088, XXH3_64bits(header.data(), 4088));
        put_file_bytes(path, 0, header);
    }

    void expect_found(const std::string &what) {
        std::string data;
        const int32_t status = fetch("victim", data);
        EXPECT_TRUE(tells_of_damage(status)) << what << " gives " << status;
        const std::string message = stsimg_last_error();
        EXPECT_NE(message.find(file()), std::string::npos) << message;
        EXPECT_NE(message.find("offset "), std::string::npos) << message;
    }

    std::string intact;
};

TEST_F(DamagedFile, BitFlipInEveryPageIsFound) {
    const std::vector<uint64_t> pages = data_pages(file());
    ASSERT_GT(pages.size(), 30u);
    const uint64_t size = fs::file_size(file());
    for (const uint32_t seed : seeds_of("DamagedFile.BitFlipInEveryPageIsFound", 11)) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        for (const uint64_t page : pages)
            for (int round = 0; round < 2; ++round) {
                const uint64_t offset = page + random() % std::min<uint64_t>(4096, size - page);
                const int bit = static_cast<int>(random() % 8);
                flip_bit(file(), offset, bit);
                expect_found("offset " + number(offset) + " bit " + number(static_cast<uint64_t>(bit)));
                flip_bit(file(), offset, bit);
            }
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
        const int32_t expected = length < 8 ? STSIMG_E_NOT_AN_IMAGE : STSIMG_E_TRUNCATED;
        EXPECT_EQ(fetch("victim", data), expected) << length;
        sts_image_info_t properties;
        EXPECT_EQ(info("victim", properties), expected) << length;
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

// Every shape of a read: within a block, over edges, of whole blocks.
TEST_F(DamagedFile, EveryReadThatTouchesADamagedBlockFindsIt) {
    constexpr uint64_t blocks = 6;
    sts_image_handle_t image = nullptr;
    ASSERT_EQ(open("victim", STSIMG_MODE_READ, image), 0);
    for (uint64_t damaged = 0; damaged < blocks; ++damaged) {
        const uint64_t place = data_begin + damaged * 4096 + 17;
        flip_bit(file(), place, 3);
        for (uint64_t first = 0; first < blocks; ++first)
            for (uint64_t last = first; last < blocks; ++last)
                for (const uint64_t begin : {first * 4096, first * 4096 + 1, first * 4096 + 4095})
                    for (const uint64_t end : {last * 4096 + 1, last * 4096 + 4095, last * 4096 + 4096}) {
                        if (end <= begin)
                            continue;
                        std::string data;
                        const int32_t status = read(image, data, end - begin, begin);
                        if (damaged < first || damaged > last) {
                            ASSERT_EQ(status, 0) << stsimg_last_error();
                            ASSERT_TRUE(data == intact.substr(begin, end - begin)) << begin << " to " << end;
                        } else {
                            ASSERT_EQ(status, STSIMG_E_DAMAGED) << damaged << ": " << begin << " to " << end;
                        }
                    }
        flip_bit(file(), place, 3);
    }
    EXPECT_EQ(stsimg_close_image(image), 0);
}

TEST_F(DamagedFile, EndWithinTheLastBlockOfAReadIsFound) {
    for (const uint64_t length : {uint64_t{1} * 4096, uint64_t{3} * 4096, uint64_t{20} * 4096}) {
        fs::copy_file(file(), root() / "whole", fs::copy_options::overwrite_existing);
        sts_image_handle_t image = nullptr;
        ASSERT_EQ(open("victim", STSIMG_MODE_READ, image), 0);
        fs::resize_file(file(), data_begin + length - 1);
        std::string data;
        EXPECT_EQ(read(image, data, length), STSIMG_E_TRUNCATED) << length;
        EXPECT_NE(std::string(stsimg_last_error()).find("offset " + number(data_begin + length - 1)), std::string::npos)
            << stsimg_last_error();
        EXPECT_EQ(stsimg_close_image(image), 0);
        fs::copy_file(root() / "whole", file(), fs::copy_options::overwrite_existing);
    }
}

TEST_F(DamagedFile, EndWithinAChecksumTableIsFound) {
    sts_image_handle_t image = nullptr;
    ASSERT_EQ(open("victim", STSIMG_MODE_READ, image), 0);
    fs::resize_file(file(), 16384 + 100);
    std::string data;
    EXPECT_EQ(read(image, data, 10), STSIMG_E_TRUNCATED);
    EXPECT_NE(std::string(stsimg_last_error()).find("table at offset 16384"), std::string::npos) << stsimg_last_error();
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
    put_header(file(), header);
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
        size_t width = 8;
    };
    for (const Change change :
         {Change{32, UINT64_MAX}, Change{32, 0}, Change{32, 5}, Change{48, 0}, Change{48, UINT64_MAX},
          Change{56, UINT64_MAX}, Change{56, uint64_t{1} << 60}, Change{56, 0}, Change{12, 0, 4}, Change{12, 8192, 4},
          Change{16, 0, 4}, Change{16, 4096, 4}}) {
        std::string header = good;
        put_number(header, change.offset, change.value, change.width);
        put_header(file(), header);
        std::string data;
        EXPECT_TRUE(tells_of_damage(fetch("victim", data))) << change.offset << " " << change.value;
    }
}

// What lies in the file where nothing was written is no data.
TEST_F(DamagedFile, BytesInAGapAreNotRead) {
    constexpr uint64_t gap = 48 * 4096;
    put_file_bytes(file(), data_begin + gap, pattern(4096, 5));
    sts_image_handle_t image = nullptr;
    ASSERT_EQ(open("victim", STSIMG_MODE_READ, image), 0);
    for (const uint64_t offset : {gap, gap + 100, gap - 4000})
        for (const uint64_t length : {uint64_t{100}, uint64_t{4096}, uint64_t{8192}, uint64_t{30000}}) {
            std::string data;
            ASSERT_EQ(read(image, data, length, offset), 0);
            EXPECT_TRUE(data == std::string(length, '\0')) << offset << " " << length;
        }
    EXPECT_EQ(stsimg_close_image(image), 0);
}

// The victim has three groups; the third one's table is a gap.
class CraftedIndex : public DamagedFile {
protected:
    CraftedIndex() {
        if (is_in_engine())
            return;
        sts_image_handle_t image = nullptr;
        EXPECT_EQ(open("victim", STSIMG_MODE_WRITE, image), 0);
        EXPECT_EQ(write(image, "third", 2 * group_size + 10), 0);
        EXPECT_EQ(stsimg_close_image(image), 0);
        header = file_bytes(file(), 0, 4096);
        EXPECT_EQ(number_at(header, 56), 3u);
        place = number_at(header, 48);
        index = file_bytes(file(), place, 48);
    }

    // The file with another index: all checksums are right.
    void put_index(const std::string &entries) {
        std::string changed = header;
        put_number(changed, 56, entries.size() / 16);
        put_number(changed, 64, XXH3_64bits_withSeed(entries.data(), entries.size(), number_at(header, 24)));
        put_header(file(), changed);
        fs::resize_file(file(), place);
        put_file_bytes(file(), place, entries);
    }

    std::string with_groups(const std::vector<uint64_t> &groups) const {
        std::string entries;
        for (size_t entry = 0; entry < groups.size(); ++entry) {
            entries += index.substr(entry % 3 * 16, 16);
            put_number(entries, entry * 16, groups[entry]);
        }
        return entries;
    }

    static constexpr uint64_t group_size = 2048 * 4096;
    std::string header, index;
    uint64_t place = 0;
};

TEST_F(CraftedIndex, WithTheRightEntriesIsRead) {
    const std::string data = content("victim");
    put_index(with_groups({0, 1, 2}));
    EXPECT_TRUE(content("victim") == data);
    EXPECT_EQ(data.substr(data.size() - 5), "third");
}

TEST_F(CraftedIndex, OutOfOrderOrBeyondTheImageIsRefusedAtTheEntry) {
    struct Case {
        std::vector<uint64_t> groups;
        uint64_t wrong_entry;
    };
    for (const Case &crafted : {Case{{1, 0, 2}, 1}, Case{{2, 1, 0}, 1}, Case{{0, 2, 1}, 2}, Case{{0, 0, 1}, 1},
                                Case{{0, 1, 1}, 2}, Case{{0, 1, 3}, 2}, Case{{3}, 0}, Case{{0, UINT64_MAX, 2}, 1},
                                Case{{UINT64_MAX}, 0}, Case{{uint64_t{1} << 60}, 0}}) {
        put_index(with_groups(crafted.groups));
        std::string data;
        EXPECT_EQ(fetch("victim", data), STSIMG_E_DAMAGED);
        const std::string message = stsimg_last_error();
        EXPECT_NE(message.find(file()), std::string::npos) << message;
        EXPECT_NE(message.find("index entry at offset " + number(place + crafted.wrong_entry * 16)), std::string::npos)
            << message;
    }
}

TEST_F(CraftedIndex, WithMoreEntriesThanGroupsIsRefused) {
    put_index(with_groups({0, 1, 2, 3}));
    std::string data;
    EXPECT_EQ(fetch("victim", data), STSIMG_E_DAMAGED);
    EXPECT_NE(std::string(stsimg_last_error()).find("header at offset 0"), std::string::npos) << stsimg_last_error();
}

// In order, but not what was written: a group would be taken for a gap.
TEST_F(CraftedIndex, ThatDoesNotMatchItsChecksumIsRefused) {
    sts_image_handle_t image = nullptr;
    ASSERT_EQ(open("victim", STSIMG_MODE_WRITE, image), 0);
    ASSERT_EQ(write(image, "fifth", 4 * group_size), 0);
    ASSERT_EQ(stsimg_close_image(image), 0);
    place = number_at(file_bytes(file(), 0, 4096), 48);
    std::string entry = file_bytes(file(), place + 32, 16);
    ASSERT_EQ(number_at(entry, 0), 2u);
    put_number(entry, 0, 3);
    put_file_bytes(file(), place + 32, entry);
    std::string data;
    EXPECT_EQ(fetch("victim", data), STSIMG_E_DAMAGED);
    EXPECT_NE(std::string(stsimg_last_error()).find("index at offset " + number(place) + " does not match"),
              std::string::npos)
        << stsimg_last_error();
}

// In another place than behind the data.
TEST_F(CraftedIndex, InAnotherPlaceIsRefused) {
    place += 4096;
    put_number(header, 48, place);
    fs::resize_file(file(), place);
    put_index(index);
    std::string data;
    EXPECT_EQ(fetch("victim", data), STSIMG_E_DAMAGED);
}

// All holes: files of no size on the disk that claim much, where the file system takes such files.
class SparseFile : public CraftedIndex {
protected:
    SparseFile() { EXPECT_NE(mkdtemp(directory.data()), nullptr); }
    ~SparseFile() override { fs::remove_all(directory); }

    fs::path huge() const { return fs::path(directory) / "huge.stsimg"; }

    static uint64_t end_of_data(uint64_t image_size) {
        const uint64_t last = (image_size - 1) / 4096, group = last / 2048;
        return group / 63 * (505 << 20) + (1 << 20) + group % 63 * group_size + last % 2048 * 4096 + 4096;
    }

    // Returns whether the file system takes a file of that size.
    bool make(uint64_t image_size, uint64_t entries) {
        put_number(header, 32, image_size);
        put_number(header, 48, end_of_data(image_size));
        put_number(header, 56, entries);
        std::ofstream(huge()) << "";
        put_header(huge(), header);
        return truncate(huge().c_str(), static_cast<off_t>(end_of_data(image_size) + entries * 16)) == 0;
    }

    std::string directory = fs::is_directory("/dev/shm") ? "/dev/shm/stsimage-XXXXXX" : (root() / "XXXXXX").string();
};

TEST_F(SparseFile, OfTheLargestSizeTakesNoMemory) {
    uint64_t groups = uint64_t{1} << 39;
    while (!make(groups * group_size, groups) && groups > 1 << 17)
        groups /= 2;
    for (const uint32_t mode : {STSIMG_MODE_READ, STSIMG_MODE_WRITE}) {
        sts_image_handle_t image = nullptr;
        EXPECT_EQ(open("huge", mode, image, directory.c_str()), STSIMG_E_DAMAGED) << stsimg_last_error();
        EXPECT_NE(std::string(stsimg_last_error())
                      .find("index entry at offset " + number(end_of_data(groups * group_size) + 16)),
                  std::string::npos)
            << stsimg_last_error();
    }
    EXPECT_EQ(std::distance(fs::directory_iterator(directory), fs::directory_iterator()), 1);
}

TEST_F(SparseFile, LargerThanAnImageCanBeIsRefused) {
    if (!make((uint64_t{1} << 62) + 1, 0))
        GTEST_SKIP() << "no file system for files of that size here";
    sts_image_handle_t image = nullptr;
    EXPECT_EQ(open("huge", STSIMG_MODE_READ, image, directory.c_str()), STSIMG_E_DAMAGED);
    EXPECT_NE(std::string(stsimg_last_error()).find("header at offset 0"), std::string::npos) << stsimg_last_error();
}

// More entries than are read at once.
TEST_F(CraftedIndex, OfManyPiecesIsReadWhole) {
    sts_image_handle_t image = nullptr;
    ASSERT_EQ(create("scattered", image), 0);
    constexpr uint64_t groups = 10000;
    for (uint64_t group = 0; group < groups; group += 1 + group % 2)
        ASSERT_EQ(write(image, number(group), group * group_size), 0);
    ASSERT_EQ(stsimg_close_image(image), 0) << stsimg_last_error();
    ASSERT_EQ(open("scattered", STSIMG_MODE_READ, image), 0) << stsimg_last_error();
    std::string data;
    for (uint64_t group = 0; group < groups; group += 1 + group % 2) {
        ASSERT_EQ(read(image, data, number(group).size(), group * group_size), 0) << stsimg_last_error();
        ASSERT_EQ(data, number(group));
    }
    EXPECT_EQ(stsimg_close_image(image), 0);
}
