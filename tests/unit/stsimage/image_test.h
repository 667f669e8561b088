// A root directory of its own for every test, and the calls in short.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "stspi/stsimg.h"

// A definition with a name that fits.
sts_image_definition_t image_named(std::string_view name);

// Bytes that differ from place to place and from seed to seed.
std::string pattern(size_t size, uint64_t seed = 1);

class ImageTest : public testing::Test {
protected:
    ImageTest();
    ~ImageTest() override;

    // For tests that look at files: there are none in an engine.
    static constexpr char of_directories[] = "is about directories and files";

    // Whether the images lie in the engine that STSIMAGE_TEST_STORE names ("rados:POOL") instead of a directory.
    bool is_in_engine() const { return in_engine; }

    const std::filesystem::path &root() const { return root_directory; }

    // The file of an image.
    std::filesystem::path file_of(const std::string &name, const std::string &lsu = "pool") const {
        return root() / lsu / (name + ".stsimg");
    }
    std::filesystem::path unfinished(const std::string &lsu = "pool") const {
        return root() / lsu / ".stsimg-unfinished";
    }

    // The calls, with the LSU "pool" unless another is named.
    static int32_t create(std::string_view name, sts_image_handle_t &image, const char *lsu = "pool");
    static int32_t open(std::string_view name, uint32_t mode, sts_image_handle_t &image, const char *lsu = "pool");
    static int32_t remove(std::string_view name, const char *lsu = "pool");
    static int32_t write(sts_image_handle_t image, std::string_view data, uint64_t offset = 0);
    static int32_t read(sts_image_handle_t image, std::string &out_data, uint64_t length, uint64_t offset = 0);
    static int32_t info(std::string_view name, sts_image_info_t &out_info, const char *lsu = "pool");

    // The status of the first call that fails.
    static int32_t store(std::string_view name, std::string_view data, const char *lsu = "pool");
    // The same once a dead writer's claim has run out, which takes an engine its while.
    int32_t store_when_free(std::string_view name, std::string_view data) const;
    static int32_t fetch(std::string_view name, std::string &out_data, const char *lsu = "pool");

    // The content of an image that is there; "status NUMBER" otherwise.
    static std::string content(std::string_view name, const char *lsu = "pool");

    // All names, sorted.
    static std::vector<std::string> names(const char *lsu = "pool");

private:
    std::filesystem::path root_directory;
    bool in_engine = false;
};

// Tests that look at files, one and all.
class DirectoryTest : public ImageTest {
protected:
    void SetUp() override {
        if (is_in_engine())
            GTEST_SKIP() << of_directories;
    }
};
