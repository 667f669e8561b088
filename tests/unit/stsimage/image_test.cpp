#include "tests/unit/stsimage/image_test.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>

sts_image_definition_t image_named(std::string_view name) {
    sts_image_definition_t definition{};
    name.copy(definition.name, sizeof definition.name);
    return definition;
}

std::string pattern(size_t size, uint64_t seed) {
    std::string data(size, '\0');
    uint64_t state = seed * 0x9e3779b97f4a7c15u + 1;
    for (size_t place = 0; place < size; place += sizeof state) {
        state ^= state << 13;
        state ^= state >> 7;
        state ^= state << 17;
        for (size_t byte = 0; byte < std::min(sizeof state, size - place); ++byte)
            data[place + byte] = static_cast<char>(state >> 8 * byte & 0xff);
    }
    return data;
}

ImageTest::ImageTest() {
    std::string path = testing::TempDir() + "stsimage-XXXXXX";
    if (mkdtemp(path.data()) == nullptr)
        throw std::runtime_error("cannot make a directory for the test");
    root_directory = path;
    const char *const engine = std::getenv("STSIMAGE_TEST_STORE");
    in_engine = engine != nullptr;
    setenv("STSIMAGE_ROOT", in_engine ? (std::string(engine) + path).c_str() : path.c_str(), 1);
}

ImageTest::~ImageTest() {
    std::error_code ignored;
    std::filesystem::remove_all(root_directory, ignored);
}

int32_t ImageTest::create(std::string_view name, sts_image_handle_t &image, const char *lsu) {
    const sts_image_definition_t definition = image_named(name);
    return stsimg_create_image(lsu, nullptr, "host", &definition, 0, &image);
}

int32_t ImageTest::open(std::string_view name, uint32_t mode, sts_image_handle_t &image, const char *lsu) {
    const sts_image_definition_t definition = image_named(name);
    return stsimg_open_image(lsu, nullptr, "host", &definition, mode, &image);
}

int32_t ImageTest::remove(std::string_view name, const char *lsu) {
    const sts_image_definition_t definition = image_named(name);
    return stsimg_delete_image(lsu, nullptr, "host", &definition, 0);
}

int32_t ImageTest::write(sts_image_handle_t image, std::string_view data, uint64_t offset) {
    uint64_t written = 77;
    const int32_t status = stsimg_write_image(image, nullptr, data.data(), data.size(), offset, &written);
    EXPECT_EQ(written, status == 0 ? data.size() : 0);
    return status;
}

int32_t ImageTest::read(sts_image_handle_t image, std::string &out_data, uint64_t length, uint64_t offset) {
    out_data.assign(length, '?');
    uint64_t got = 77;
    const int32_t status = stsimg_read_image(image, out_data.data(), length, offset, &got);
    EXPECT_LE(got, length);
    if (status != 0) {
        EXPECT_EQ(got, 0u);
    }
    out_data.resize(got);
    return status;
}

int32_t ImageTest::info(std::string_view name, sts_image_info_t &out_info, const char *lsu) {
    const sts_image_definition_t definition = image_named(name);
    return stsimg_get_image_prop_byname(lsu, nullptr, "host", &definition, &out_info);
}

int32_t ImageTest::store(std::string_view name, std::string_view data, const char *lsu) {
    sts_image_handle_t image = nullptr;
    int32_t status = create(name, image, lsu);
    if (status != 0)
        return status;
    status = write(image, data);
    const int32_t closing = stsimg_close_image(image);
    return status != 0 ? status : closing;
}

int32_t ImageTest::store_when_free(std::string_view name, std::string_view data) const {
    constexpr int most_attempts = 600;
    int32_t status = store(name, data);
    for (int attempt = 0; in_engine && status == STSIMG_E_BUSY && attempt < most_attempts; ++attempt) {
        usleep(100'000);
        status = store(name, data);
    }
    return status;
}

int32_t ImageTest::fetch(std::string_view name, std::string &out_data, const char *lsu) {
    sts_image_handle_t image = nullptr;
    int32_t status = open(name, STSIMG_MODE_READ, image, lsu);
    if (status != 0)
        return status;
    sts_image_info_t properties{};
    status = stsimg_get_image_prop(image, &properties);
    if (status == 0)
        status = read(image, out_data, properties.size_bytes + 1);
    const int32_t closing = stsimg_close_image(image);
    return status != 0 ? status : closing;
}

std::string ImageTest::content(std::string_view name, const char *lsu) {
    std::string data;
    const int32_t status = fetch(name, data, lsu);
    return status == 0 ? data : "status " + std::to_string(status);
}

std::vector<std::string> ImageTest::names(const char *lsu) {
    std::vector<std::string> found;
    sts_image_list_handle_t list = nullptr;
    EXPECT_EQ(stsimg_open_image_list(lsu, nullptr, "host", 0, &list), 0) << stsimg_last_error();
    sts_image_definition_t definition;
    int32_t status;
    while ((status = stsimg_list_image(list, &definition)) == 0)
        found.emplace_back(definition.name);
    EXPECT_EQ(status, STS_E_NO_MORE_ENTRIES);
    EXPECT_EQ(stsimg_list_image(list, &definition), STS_E_NO_MORE_ENTRIES);
    EXPECT_EQ(stsimg_close_image_list(list), 0);
    std::sort(found.begin(), found.end());
    return found;
}
