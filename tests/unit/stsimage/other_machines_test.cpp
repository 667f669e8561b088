// Images are carried from machine to machine: whatever byte order the processor has, it writes the same file and reads what
// another wrote. images/ holds one file written on x86-64, one written on AArch64 and one written on s390x, which is big-endian,
// by write_image below.
#include <fstream>
#include <iterator>

#include "tests/unit/stsimage/file_bytes.h"
#include "tests/unit/stsimage/image_test.h"

namespace fs = std::filesystem;

class OtherMachines : public DirectoryTest, public testing::WithParamInterface<const char *> {
protected:
    // Whole blocks, a block that is written in part, a gap.
    static void write_image(std::string_view name) {
        sts_image_handle_t image = nullptr;
        ASSERT_EQ(create(name, image), 0);
        ASSERT_EQ(write(image, pattern(10000)), 0);
        ASSERT_EQ(write(image, pattern(3000, 2), 7 * 4096 + 500), 0);
        ASSERT_EQ(stsimg_close_image(image), 0);
    }

    static std::string expected_content() {
        return pattern(10000) + std::string(7 * 4096 + 500 - 10000, '\0') + pattern(3000, 2);
    }

    static fs::path foreign_file() { return fs::path(STSIMAGE_FOREIGN_IMAGES) / (std::string(GetParam()) + ".stsimg"); }

    void carry_here(const std::string &name) const {
        fs::create_directories(file_of(name).parent_path());
        fs::copy_file(foreign_file(), file_of(name));
        fs::permissions(file_of(name), fs::perms::owner_read | fs::perms::owner_write);
    }

    static std::string all_bytes(const fs::path &path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    // What differs from one image to the next: seed, creation time, and every checksum, in the table too.
    static std::string without_what_is_drawn(std::string bytes) {
        for (const size_t place : {24u, 40u, 64u, 4088u})
            put_number(bytes, place, 0);
        const uint64_t index = number_at(bytes, 48);
        EXPECT_EQ(number_at(bytes, 56), 1u);
        EXPECT_EQ(bytes.size(), index + 16);
        put_number(bytes, index + 8, 0);
        for (size_t place = 16384; place < 32768; place += 8)
            if (number_at(bytes, place) != 0)
                put_number(bytes, place, 1);
        return bytes;
    }
};

TEST_P(OtherMachines, ImageThatWasWrittenThereIsRead) {
    carry_here("carried");
    EXPECT_TRUE(content("carried") == expected_content());
    sts_image_info_t properties;
    ASSERT_EQ(info("carried", properties), 0);
    EXPECT_EQ(properties.size_bytes, expected_content().size());
    EXPECT_GT(properties.creation_time, 1'700'000'000);
    EXPECT_LT(properties.creation_time, 4'000'000'000);
}

TEST_P(OtherMachines, ImageThatWasWrittenThereIsWrittenOn) {
    carry_here("carried");
    sts_image_handle_t image = nullptr;
    ASSERT_EQ(open("carried", STSIMG_MODE_WRITE, image), 0);
    ASSERT_EQ(write(image, "more", 20000), 0);
    ASSERT_EQ(stsimg_close_image(image), 0);
    EXPECT_TRUE(content("carried") == expected_content().replace(20000, 4, "more"));
}

TEST_P(OtherMachines, DamageToImageThatWasWrittenThereIsFound) {
    carry_here("carried");
    flip_bit(file_of("carried"), (1 << 20) + 5000, 3);
    std::string data;
    EXPECT_EQ(fetch("carried", data), STSIMG_E_DAMAGED);
}

TEST_P(OtherMachines, ImageThatIsWrittenHereIsTheSameFile) {
    write_image("own");
    EXPECT_TRUE(without_what_is_drawn(all_bytes(file_of("own"))) == without_what_is_drawn(all_bytes(foreign_file())));
}

INSTANTIATE_TEST_SUITE_P(Kinds, OtherMachines, testing::Values("x86_64", "aarch64", "s390x"),
                         [](const auto &machine) { return std::string(machine.param); });
