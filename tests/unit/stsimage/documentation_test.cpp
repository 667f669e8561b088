// What the documentation says, read against what the library does: the format of a file, decoded by the tables of
// docs/image-library.md alone, the statuses of the manual, the exported names.
#include <xxhash.h>

#include <cstdio>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "tests/unit/stsimage/file_bytes.h"
#include "tests/unit/stsimage/image_test.h"

namespace fs = std::filesystem;

namespace {

uint64_t hash(const std::string &bytes, uint64_t seed) {
    return XXH3_64bits_withSeed(bytes.data(), bytes.size(), seed);
}

// Decodes an image's file, checking all there is to check.
std::string decode(const fs::path &file) {
    const std::string header = file_bytes(file, 0, 4096);
    EXPECT_EQ(header.substr(0, 8), "\x89STSIMG\n");
    EXPECT_EQ(number_at(header, 8, 4), 1u);
    EXPECT_EQ(number_at(header, 12, 4), 4096u);
    EXPECT_EQ(number_at(header, 16, 4), 2048u);
    EXPECT_EQ(number_at(header, 4088), hash(header.substr(0, 4088), 0));
    const auto seed = number_at(header, 24);
    const auto size = number_at(header, 32);
    const auto index_offset = number_at(header, 48);
    const auto entries = number_at(header, 56);

    const std::string index = file_bytes(file, index_offset, entries * 16);
    EXPECT_EQ(index_offset + entries * 16, fs::file_size(file));
    EXPECT_EQ(number_at(header, 64), hash(index, seed));
    std::map<uint64_t, uint64_t> table_checksums;
    for (uint64_t entry = 0; entry < entries; ++entry)
        table_checksums[number_at(index, entry * 16)] = number_at(index, entry * 16 + 8);

    std::string data;
    for (uint64_t block = 0; block * 4096 < size; ++block) {
        const uint64_t group = block / 2048, section = group / 63 * (505 << 20);
        if (table_checksums.count(group) == 0) {
            data.append(4096, '\0');
            continue;
        }
        const std::string table = file_bytes(file, section + 16384 * (1 + group % 63), 16384);
        EXPECT_EQ(table_checksums[group], hash(table, ~seed - group));
        const auto checksum = number_at(table, block % 2048 * 8);
        if (checksum == 0) {
            data.append(4096, '\0');
            continue;
        }
        const std::string content =
            file_bytes(file, section + (1 << 20) + (8 << 20) * (group % 63) + block % 2048 * 4096, 4096);
        EXPECT_EQ(checksum, hash(content, seed + block));
        data += content;
    }
    data.resize(size);
    return data;
}

}  // namespace

using Documentation = DirectoryTest;

TEST_F(Documentation, FormatIsAsDescribed) {
    const sts_image_definition_t definition = image_named("image");
    sts_image_handle_t image = nullptr;
    ASSERT_EQ(stsimg_create_image("pool", nullptr, "nodeA", &definition, 0, &image), 0);
    ASSERT_EQ(write(image, pattern(10000)), 0);
    ASSERT_EQ(write(image, pattern(20000, 2), 5 * 2048 * 4096 - 10000), 0);
    ASSERT_EQ(stsimg_close_image(image), 0);
    std::string expected = pattern(10000);
    expected.resize(5 * 2048 * 4096 - 10000);
    expected += pattern(20000, 2);
    EXPECT_TRUE(decode(file_of("image")) == expected);
    EXPECT_STREQ(file_bytes(file_of("image"), 512, 512).c_str(), "nodeA");
    sts_image_info_t properties;
    ASSERT_EQ(info("image", properties), 0);
    EXPECT_EQ(static_cast<int64_t>(number_at(file_bytes(file_of("image"), 40, 8), 0)), properties.creation_time);
}

TEST_F(Documentation, SecondSectionIsAsDescribed) {
    constexpr uint64_t second = uint64_t{63} * 2048 * 4096;
    sts_image_handle_t image = nullptr;
    ASSERT_EQ(create("image", image), 0);
    ASSERT_EQ(write(image, pattern(4096), second + 4096), 0);
    ASSERT_EQ(stsimg_close_image(image), 0);
    EXPECT_TRUE(file_bytes(file_of("image"), (505 << 20) + (1 << 20) + 4096, 4096) == pattern(4096));
    EXPECT_NE(number_at(file_bytes(file_of("image"), (505 << 20) + 16384 + 8, 8), 0), 0u);
}

TEST_F(Documentation, EmptyImageIsAsDescribed) {
    ASSERT_EQ(store("image", ""), 0);
    EXPECT_EQ(decode(file_of("image")), "");
    EXPECT_EQ(fs::file_size(file_of("image")), 4096u);
}

TEST_F(Documentation, ManualNamesEveryStatus) {
    std::ifstream file(STSIMAGE_MANUAL);
    const std::string manual((std::istreambuf_iterator<char>(file)), {});
    size_t statuses = 0;
    const auto expect_named = [&](const std::string &name, int number, const std::string &meaning) {
        ++statuses;
        std::string sentence = meaning + ".";
        sentence[0] = static_cast<char>(std::toupper(sentence[0]));
        EXPECT_NE(manual.find(".BR " + name + " \" (" + std::to_string(number) + ")\"\n" + sentence + "\n"),
                  std::string::npos)
            << name;
    };
#define EXPECT_STATUS(name, number, meaning) expect_named(#name, number, meaning);
    STSIMG_STATUS_LIST(EXPECT_STATUS)
#undef EXPECT_STATUS
    size_t named = 0;
    for (size_t place = 0; (place = manual.find(".BR STSIMG_E_", place)) != std::string::npos; ++place)
        ++named;
    EXPECT_EQ(named, statuses);
}

TEST_F(Documentation, StatusesAreApartFromTheInterfaces) {
    std::set<int> numbers;
    size_t statuses = 0;
#define TAKE_STATUS(name, number, meaning) \
    numbers.insert(number);                \
    ++statuses;
    STS_STATUS_LIST(TAKE_STATUS)
    STSIMG_STATUS_LIST(TAKE_STATUS)
#undef TAKE_STATUS
    EXPECT_EQ(numbers.size(), statuses);
}

TEST_F(Documentation, LibraryExportsItsCallsAndNothingElse) {
    FILE *listing = popen("nm -D --defined-only " STSIMAGE_LIBRARY, "r");
    ASSERT_NE(listing, nullptr);
    std::set<std::string> exported;
    char line[512];
    while (std::fgets(line, sizeof line, listing) != nullptr) {
        std::istringstream words(line);
        std::string address, kind, name;
        words >> address >> kind >> name;
        exported.insert(name);
    }
    EXPECT_EQ(pclose(listing), 0);
    EXPECT_EQ(exported, (std::set<std::string>{"stsimg_init", "stsimg_terminate", "stsimg_last_error", "stsimg_check",
                                               "stsimg_create_image", "stsimg_open_image", "stsimg_delete_image",
                                               "stsimg_open_image_list", "stsimg_get_image_prop_byname",
                                               "stsimg_get_image_prop", "stsimg_read_image", "stsimg_write_image",
                                               "stsimg_close_image", "stsimg_list_image", "stsimg_close_image_list"}));
}
