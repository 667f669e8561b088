// Large images, and many names, in whatever store STSIMAGE_ROOT leads to: one measurement a run, in seconds.
//
//     image_root_bench write NAME MIB      an image in calls of 1 MiB, until its close has returned
//     image_root_bench read NAME           all of it, in calls of 1 MiB
//     image_root_bench remove NAME
//     image_root_bench list                the names of all images; how many there are follows
//     image_root_bench small COUNT         so many images of 4 KiB, one after the other: of one, writing, reading and removing
//
// They are in the LSU "bench". The data is random, and made before the clock starts.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <string_view>

#include "base/page_buffer.h"
#include "stspi/stsimg.h"

namespace {

constexpr char lsu[] = "bench";
constexpr uint64_t call_bytes = uint64_t{1} << 20;
constexpr uint64_t small_bytes = 4096;

void require(int32_t status, const char *what) {
    if (status == 0)
        return;
    std::fprintf(stderr, "image_root_bench: %s: %d %s\n", what, status, stsimg_last_error());
    std::exit(1);
}

sts_image_definition_t named(const char *name) {
    sts_image_definition_t definition{};
    std::strncpy(definition.name, name, sizeof definition.name - 1);
    return definition;
}

PageBuffer random_bytes() {
    PageBuffer bytes(call_bytes);
    std::mt19937_64 random(std::random_device{}());
    std::generate_n(bytes.data(), bytes.size(), [&random] { return static_cast<char>(random()); });
    return bytes;
}

void write_image(const char *name, uint64_t calls, uint64_t bytes, PageBuffer &block) {
    const sts_image_definition_t definition = named(name);
    sts_image_handle_t image = nullptr;
    require(stsimg_create_image(lsu, nullptr, "", &definition, 0, &image), "create");
    for (uint64_t call = 0; call < calls; ++call) {
        std::memcpy(block.data(), &call, sizeof call);  // no two blocks are the same
        uint64_t written = 0;
        require(stsimg_write_image(image, nullptr, block.data(), bytes, call * bytes, &written), "write");
    }
    require(stsimg_close_image(image), "close");
}

void read_image(const char *name, PageBuffer &block) {
    const sts_image_definition_t definition = named(name);
    sts_image_handle_t image = nullptr;
    require(stsimg_open_image(lsu, nullptr, "", &definition, STSIMG_MODE_READ, &image), "open");
    uint64_t place = 0, got = 0;
    do {
        require(stsimg_read_image(image, block.data(), call_bytes, place, &got), "read");
        place += got;
    } while (got == call_bytes);
    require(stsimg_close_image(image), "close");
}

void remove_image(const char *name) {
    const sts_image_definition_t definition = named(name);
    require(stsimg_delete_image(lsu, nullptr, "", &definition, 0), "remove");
}

uint64_t list_images() {
    sts_image_list_handle_t list = nullptr;
    require(stsimg_open_image_list(lsu, nullptr, "", 0, &list), "open a list");
    sts_image_definition_t definition;
    uint64_t names = 0;
    int32_t status;
    while ((status = stsimg_list_image(list, &definition)) == 0)
        ++names;
    require(status == STS_E_NO_MORE_ENTRIES ? 0 : status, "list");
    require(stsimg_close_image_list(list), "close the list");
    return names;
}

// Tells the seconds of one step of one image.
template <class Step>
void measure_each(uint64_t count, Step step) {
    const auto begin = std::chrono::steady_clock::now();
    for (uint64_t number = 0; number < count; ++number)
        step(("small " + std::to_string(number)).c_str());
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - begin;
    std::printf("%.4f ", seconds.count() / static_cast<double>(count));
}

void measure_small_images(uint64_t count, PageBuffer &block) {
    measure_each(count, [&](const char *name) { write_image(name, 1, small_bytes, block); });
    measure_each(count, [&](const char *name) { read_image(name, block); });
    measure_each(count, remove_image);
    std::printf("\n");
}

}  // namespace

int main(int count, char **words) {
    const std::string_view what = count > 1 ? words[1] : "";
    const bool is_right = (what == "write" && count == 4) ||
                          ((what == "read" || what == "remove" || what == "small") && count == 3) ||
                          (what == "list" && count == 2);
    if (!is_right) {
        std::fprintf(stderr, "image_root_bench: write NAME MIB, read NAME, remove NAME, list or small COUNT\n");
        return 2;
    }
    PageBuffer block = random_bytes();
    // Connecting is no part of it.
    const sts_image_definition_t nothing = named("nothing");
    sts_image_info_t info;
    stsimg_get_image_prop_byname(lsu, nullptr, "", &nothing, &info);
    if (what == "small") {
        measure_small_images(std::strtoull(words[2], nullptr, 10), block);
        return 0;
    }
    uint64_t names = 0;
    const auto begin = std::chrono::steady_clock::now();
    if (what == "write")
        write_image(words[2], std::strtoull(words[3], nullptr, 10), call_bytes, block);
    else if (what == "read")
        read_image(words[2], block);
    else if (what == "list")
        names = list_images();
    else
        remove_image(words[2]);
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - begin;
    std::printf("%.3f", seconds.count());
    if (what == "list")
        std::printf(" %llu", static_cast<unsigned long long>(names));
    std::printf("\n");
    return 0;
}
