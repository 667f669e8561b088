// Images as their users see them: written, closed, read, listed, described, deleted.
#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <ctime>

#include "tests/unit/stsimage/file_bytes.h"
#include "tests/unit/stsimage/image_test.h"

namespace fs = std::filesystem;

using CreateImage = ImageTest;
using WriteImage = ImageTest;
using ReadImage = ImageTest;
using OpenImage = ImageTest;
using CloseImage = ImageTest;
using ListImage = ImageTest;
using ImageProp = ImageTest;
using DeleteImage = ImageTest;
using Library = ImageTest;

TEST_F(Library, InitTakesVersionNineOnly) {
    EXPECT_EQ(stsimg_init(9), 0);
    EXPECT_EQ(stsimg_init(8), STS_E_VERSION);
    EXPECT_EQ(stsimg_init(10), STS_E_VERSION);
    EXPECT_EQ(stsimg_terminate(), 0);
    EXPECT_EQ(stsimg_terminate(), 0);
}

TEST_F(Library, LastTerminateGivesUpWhatIsOpen) {
    ASSERT_EQ(stsimg_init(9), 0);
    ASSERT_EQ(stsimg_init(9), 0);
    sts_image_handle_t image = nullptr;
    ASSERT_EQ(create("left", image), 0);
    sts_image_list_handle_t list = nullptr;
    ASSERT_EQ(stsimg_open_image_list("pool", nullptr, "", 0, &list), 0);
    ASSERT_EQ(stsimg_terminate(), 0);
    EXPECT_EQ(write(image, "still open"), 0);
    ASSERT_EQ(stsimg_terminate(), 0);
    EXPECT_EQ(write(image, "gone"), STSIMG_E_INVALID_HANDLE);
    EXPECT_EQ(stsimg_close_image_list(list), STSIMG_E_INVALID_HANDLE);
    EXPECT_TRUE(is_in_engine() || fs::is_empty(root() / "pool"));
    EXPECT_TRUE(names().empty());
    EXPECT_EQ(store("left", "anew"), 0) << stsimg_last_error();
}

TEST_F(CloseImage, MakesImageVisible) {
    sts_image_handle_t image = nullptr;
    ASSERT_EQ(create("daily", image), 0) << stsimg_last_error();
    EXPECT_EQ(write(image, "hello"), 0);
    EXPECT_TRUE(names().empty());
    EXPECT_EQ(content("daily"), "status 2060022");
    ASSERT_EQ(stsimg_close_image(image), 0) << stsimg_last_error();
    EXPECT_EQ(names(), std::vector<std::string>{"daily"});
    EXPECT_EQ(content("daily"), "hello");
    EXPECT_FALSE(fs::exists(unfinished()));
}

TEST_F(CloseImage, EmptyImageIsKept) {
    ASSERT_EQ(store("empty", ""), 0);
    EXPECT_EQ(content("empty"), "");
    EXPECT_EQ(names(), std::vector<std::string>{"empty"});
}

TEST_F(CloseImage, ReplacesEarlierImageAsAWhole) {
    ASSERT_EQ(store("daily", "first, and longer"), 0);
    sts_image_handle_t image = nullptr;
    ASSERT_EQ(create("daily", image), 0);
    EXPECT_EQ(write(image, "second"), 0);
    EXPECT_EQ(content("daily"), "first, and longer");
    ASSERT_EQ(stsimg_close_image(image), 0);
    EXPECT_EQ(content("daily"), "second");
    EXPECT_EQ(names().size(), 1u);
    EXPECT_FALSE(fs::exists(unfinished()));
}

// Sizes around the block and group boundaries, in one write and in many of an awkward length.
class WriteSizes : public ImageTest, public testing::WithParamInterface<size_t> {};

TEST_P(WriteSizes, ReadBackEqual) {
    const std::string data = pattern(GetParam());
    ASSERT_EQ(store("whole", data), 0);
    EXPECT_TRUE(content("whole") == data);

    sts_image_handle_t image = nullptr;
    ASSERT_EQ(create("pieces", image), 0);
    for (size_t place = 0; place < data.size(); place += 10007)
        ASSERT_EQ(write(image, std::string_view(data).substr(place, 10007), place), 0);
    ASSERT_EQ(stsimg_close_image(image), 0);
    EXPECT_TRUE(content("pieces") == data);
}

INSTANTIATE_TEST_SUITE_P(AroundBoundaries, WriteSizes,
                         testing::Values(1, 4095, 4096, 4097, 8192, 100000, 2048 * 4096 - 1, 2048 * 4096,
                                         2048 * 4096 + 1, 2 * 2048 * 4096 + 12345));

TEST_F(WriteImage, OverwritingTakesTheLaterBytes) {
    std::string data = pattern(50000);
    sts_image_handle_t image = nullptr;
    ASSERT_EQ(create("twice", image), 0);
    ASSERT_EQ(write(image, data), 0);
    const std::string later = pattern(9000, 2);
    for (const size_t place : {4000u, 30000u, 0u, 41000u}) {
        ASSERT_EQ(write(image, later, place), 0);
        data.replace(place, later.size(), later);
    }
    ASSERT_EQ(stsimg_close_image(image), 0);
    EXPECT_TRUE(content("twice") == data);
}

TEST_F(WriteImage, GapsReadAsZeroAndTakeNoRoom) {
    constexpr uint64_t far = uint64_t{1} << 40;
    sts_image_handle_t image = nullptr;
    ASSERT_EQ(create("sparse", image), 0);
    ASSERT_EQ(write(image, "near", 10), 0);
    ASSERT_EQ(write(image, "far", far), 0);
    ASSERT_EQ(stsimg_close_image(image), 0);

    sts_image_info_t properties{};
    ASSERT_EQ(info("sparse", properties), 0);
    EXPECT_EQ(properties.size_bytes, far + 3);
    if (!is_in_engine()) {
        struct stat state;
        ASSERT_EQ(stat(file_of("sparse").c_str(), &state), 0);
        EXPECT_LT(state.st_blocks * 512, 128 * 1024);
    }

    ASSERT_EQ(open("sparse", STSIMG_MODE_READ, image), 0);
    std::string data;
    ASSERT_EQ(read(image, data, 20), 0);
    EXPECT_EQ(data, std::string(10, '\0') + "near" + std::string(6, '\0'));
    ASSERT_EQ(read(image, data, 100, far - 5), 0);
    EXPECT_EQ(data, std::string(5, '\0') + "far");
    ASSERT_EQ(read(image, data, 5, far / 2), 0);
    EXPECT_EQ(data, std::string(5, '\0'));
    EXPECT_EQ(stsimg_close_image(image), 0);
}

TEST_F(WriteImage, OffsetBeyondTheLimitIsRefusedAndHarmless) {
    sts_image_handle_t image = nullptr;
    ASSERT_EQ(create("limit", image), 0);
    ASSERT_EQ(write(image, "kept"), 0);
    EXPECT_EQ(write(image, "x", uint64_t{1} << 62), STSIMG_E_TOO_LARGE);
    EXPECT_EQ(write(image, "x", UINT64_MAX), STSIMG_E_TOO_LARGE);
    uint64_t written = 1;
    EXPECT_EQ(stsimg_write_image(image, nullptr, "x", UINT64_MAX, 4, &written), STSIMG_E_TOO_LARGE);
    EXPECT_EQ(written, 0u);
    ASSERT_EQ(stsimg_close_image(image), 0);
    EXPECT_EQ(content("limit"), "kept");
}

TEST_F(ReadImage, ShortAtTheEndAndNothingPastIt) {
    ASSERT_EQ(store("short", "0123456789"), 0);
    sts_image_handle_t image = nullptr;
    ASSERT_EQ(open("short", STSIMG_MODE_READ, image), 0);
    std::string data;
    EXPECT_EQ(read(image, data, 100, 4), 0);
    EXPECT_EQ(data, "456789");
    EXPECT_EQ(read(image, data, 100, 10), 0);
    EXPECT_EQ(data, "");
    EXPECT_EQ(read(image, data, 100, UINT64_MAX), 0);
    EXPECT_EQ(data, "");
    EXPECT_EQ(read(image, data, 0, 4), 0);
    EXPECT_EQ(data, "");
    EXPECT_EQ(stsimg_close_image(image), 0);
}

TEST_F(ReadImage, WriterReadsItsOwnBytes) {
    sts_image_handle_t image = nullptr;
    ASSERT_EQ(create("own", image), 0);
    ASSERT_EQ(write(image, "abcdef", 3), 0);
    std::string data;
    EXPECT_EQ(read(image, data, 100), 0);
    EXPECT_EQ(data, std::string(3, '\0') + "abcdef");
    ASSERT_EQ(write(image, "XY", 4), 0);
    ASSERT_EQ(stsimg_close_image(image), 0);
    EXPECT_EQ(content("own"), std::string(3, '\0') + "aXYdef");
}

TEST_F(OpenImage, ReaderKeepsWhatItOpened) {
    ASSERT_EQ(store("kept", "first"), 0);
    sts_image_handle_t image = nullptr;
    ASSERT_EQ(open("kept", STSIMG_MODE_READ, image), 0);
    ASSERT_EQ(store("kept", "second"), 0);
    ASSERT_EQ(remove("kept"), 0);
    std::string data;
    EXPECT_EQ(read(image, data, 100), 0);
    EXPECT_EQ(data, "first");
    EXPECT_EQ(stsimg_close_image(image), 0);
}

TEST_F(OpenImage, ReaderMayNotWrite) {
    ASSERT_EQ(store("fixed", "first"), 0);
    sts_image_handle_t image = nullptr;
    ASSERT_EQ(open("fixed", STSIMG_MODE_READ, image), 0);
    EXPECT_EQ(write(image, "second"), STSIMG_E_WRONG_MODE);
    EXPECT_EQ(stsimg_close_image(image), 0);
    EXPECT_EQ(content("fixed"), "first");
}

TEST_F(OpenImage, UnknownModeIsRefused) {
    ASSERT_EQ(store("modes", "x"), 0);
    sts_image_handle_t image = &image;
    for (const uint32_t mode : {0u, 4u, 5u, UINT32_MAX}) {
        EXPECT_EQ(open("modes", mode, image), STSIMG_E_WRONG_MODE);
        EXPECT_EQ(image, nullptr);
    }
}

TEST_F(OpenImage, WritingChangesACopyUntilClose) {
    for (const size_t size : {size_t{5000}, size_t{2048 * 4096 + 5000}}) {
        std::string data = pattern(size);
        ASSERT_EQ(store("edited", data), 0);
        sts_image_info_t before{};
        ASSERT_EQ(info("edited", before), 0);
        sts_image_handle_t image = nullptr;
        ASSERT_EQ(open("edited", STSIMG_MODE_WRITE, image), 0) << stsimg_last_error();
        ASSERT_EQ(write(image, "changed", 4093), 0);
        ASSERT_EQ(write(image, "appended", size + 10000), 0);
        EXPECT_TRUE(content("edited") == data);
        ASSERT_EQ(stsimg_close_image(image), 0) << stsimg_last_error();
        data.replace(4093, 7, "changed");
        data.append(10000, '\0');
        data.append("appended");
        EXPECT_TRUE(content("edited") == data);
        sts_image_info_t after{};
        ASSERT_EQ(info("edited", after), 0);
        EXPECT_EQ(after.creation_time, before.creation_time);
        EXPECT_EQ(after.size_bytes, data.size());
    }
}

TEST_F(OpenImage, UnknownImageIsNotFound) {
    sts_image_handle_t image = nullptr;
    EXPECT_EQ(open("none", STSIMG_MODE_READ, image), STS_E_NOT_FOUND);
    ASSERT_EQ(store("other", "x"), 0);
    EXPECT_EQ(open("none", STSIMG_MODE_READ, image), STS_E_NOT_FOUND);
    EXPECT_EQ(open("none", STSIMG_MODE_WRITE, image), STS_E_NOT_FOUND);
    EXPECT_NE(std::string(stsimg_last_error()).find("\"none\""), std::string::npos) << stsimg_last_error();
    sts_image_info_t properties;
    EXPECT_EQ(info("none", properties), STS_E_NOT_FOUND);
    EXPECT_EQ(remove("none"), STS_E_NOT_FOUND);
}

TEST_F(ListImage, GivesEveryImageOnceAndWholeFields) {
    std::vector<std::string> stored;
    for (int number = 0; number < 300; ++number)
        stored.push_back("image " + std::to_string(1000 + number));
    for (const std::string &name : stored)
        ASSERT_EQ(store(name, name), 0);
    EXPECT_EQ(names(), stored);

    sts_image_list_handle_t list = nullptr;
    ASSERT_EQ(stsimg_open_image_list("pool", nullptr, "", 0, &list), 0);
    sts_image_definition_t definition;
    std::fill(std::begin(definition.name), std::end(definition.name), '?');
    ASSERT_EQ(stsimg_list_image(list, &definition), 0);
    EXPECT_EQ(std::count(std::begin(definition.name), std::end(definition.name), '\0'), 1024 - 10);
    EXPECT_EQ(stsimg_close_image_list(list), 0);
}

TEST_F(ListImage, LsusAreApart) {
    ASSERT_EQ(store("one", "1", "pool"), 0);
    ASSERT_EQ(store("two", "2", "other/deep"), 0);
    EXPECT_EQ(names("pool"), std::vector<std::string>{"one"});
    EXPECT_EQ(names("other/deep"), std::vector<std::string>{"two"});
    EXPECT_TRUE(names("other").empty());
}

TEST_F(ListImage, AbsoluteTextIsTheDirectory) {
    if (is_in_engine())
        GTEST_SKIP() << of_directories;
    const fs::path directory = root() / "mounted";
    fs::create_directory(directory);
    ASSERT_EQ(store("one", "1", directory.c_str()), 0) << stsimg_last_error();
    EXPECT_EQ(names(directory.c_str()), std::vector<std::string>{"one"});
    EXPECT_EQ(names("mounted"), std::vector<std::string>{"one"});
}

TEST_F(ImageProp, ByNameAndByHandle) {
    const std::time_t before = std::time(nullptr);
    ASSERT_EQ(store("described", pattern(12345)), 0);
    sts_image_info_t by_name;
    std::fill_n(reinterpret_cast<unsigned char *>(&by_name), sizeof by_name, 0xff);
    ASSERT_EQ(info("described", by_name), 0);
    EXPECT_STREQ(by_name.name, "described");
    EXPECT_EQ(by_name.size_bytes, 12345u);
    EXPECT_GE(by_name.creation_time, before);
    EXPECT_LE(by_name.creation_time, std::time(nullptr));
    for (const uint8_t byte : by_name.reserved)
        EXPECT_EQ(byte, 0);

    sts_image_handle_t image = nullptr;
    ASSERT_EQ(open("described", STSIMG_MODE_READ, image), 0);
    sts_image_info_t by_handle;
    ASSERT_EQ(stsimg_get_image_prop(image, &by_handle), 0);
    EXPECT_EQ(std::memcmp(&by_name, &by_handle, sizeof by_name), 0);
    EXPECT_EQ(stsimg_close_image(image), 0);
}

TEST_F(ImageProp, WriterTellsTheSizeUpToNow) {
    sts_image_handle_t image = nullptr;
    ASSERT_EQ(create("growing", image), 0);
    sts_image_info_t properties;
    ASSERT_EQ(stsimg_get_image_prop(image, &properties), 0);
    EXPECT_EQ(properties.size_bytes, 0u);
    ASSERT_EQ(write(image, "xyz", 1000), 0);
    ASSERT_EQ(stsimg_get_image_prop(image, &properties), 0);
    EXPECT_EQ(properties.size_bytes, 1003u);
    EXPECT_EQ(stsimg_close_image(image), 0);
}

TEST_F(DeleteImage, RemovesNameAndFile) {
    ASSERT_EQ(store("one", "1"), 0);
    ASSERT_EQ(store("two", "2"), 0);
    ASSERT_EQ(remove("one"), 0);
    EXPECT_EQ(names(), std::vector<std::string>{"two"});
    EXPECT_FALSE(fs::exists(file_of("one")));
    EXPECT_EQ(remove("one"), STS_E_NOT_FOUND);
}

TEST_F(WriteImage, OfNothingBehindTheEndLeavesTheImageAsItIs) {
    for (const std::string &data : {std::string(), std::string("ten bytes.")}) {
        sts_image_handle_t image = nullptr;
        ASSERT_EQ(create("image", image), 0);
        if (!data.empty()) {
            ASSERT_EQ(write(image, data), 0);
        }
        EXPECT_EQ(write(image, "", 1000), 0);
        std::string tail;
        EXPECT_EQ(read(image, tail, 100, 500), 0);
        EXPECT_EQ(tail, "");
        ASSERT_EQ(stsimg_close_image(image), 0);
        EXPECT_EQ(content("image"), data);
    }
}

// The index stood where data is missing now: what was never written is a hole again.
TEST_F(OpenImage, GrowingForgetsTheOldEnd) {
    if (is_in_engine())
        GTEST_SKIP() << of_directories;
    ASSERT_EQ(store("image", pattern(5000)), 0);
    const uint64_t old_index = (1 << 20) + 2 * 4096;
    EXPECT_NE(file_bytes(file_of("image"), old_index, 16), std::string(16, '\0'));
    sts_image_handle_t image = nullptr;
    ASSERT_EQ(open("image", STSIMG_MODE_WRITE, image), 0);
    ASSERT_EQ(write(image, "far", 1000000), 0);
    ASSERT_EQ(stsimg_close_image(image), 0);
    EXPECT_EQ(file_bytes(file_of("image"), old_index, 16), std::string(16, '\0'));
    EXPECT_TRUE(content("image").substr(0, 5000) == pattern(5000));
}
