// The image library beside plain files: the same bytes in the same steps, on the same file system, in turns.
//
//     stsimage_bench [DIRECTORY] [MIB] [Google Benchmark's arguments]
//
// Images of MIB mebibytes (2048) are written below DIRECTORY (the temporary directory). A ratio of 1.11 in time is 0.9 in
// speed.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "bench/ratio_report.h"
#include "stspi/stsimg.h"

namespace fs = std::filesystem;

using benchmark::State;

namespace {

constexpr uint64_t mebibyte = uint64_t{1} << 20;

struct Setting {
    std::string directory;
    uint64_t size;

    std::string plain_file(const char *name) const { return directory + "/" + name; }
    std::string image_file(const char *name) const { return directory + "/" + name + ".stsimg"; }
};

void require(bool fine, const char *what) {
    if (fine)
        return;
    std::fprintf(stderr, "stsimage_bench: %s: %s; %s\n", what, std::strerror(errno), stsimg_last_error());
    std::exit(1);
}

sts_image_definition_t named(const char *name) {
    sts_image_definition_t definition{};
    std::strncpy(definition.name, name, sizeof definition.name - 1);
    return definition;
}

sts_image_handle_t create_image(const Setting &setting, const char *name) {
    const sts_image_definition_t definition = named(name);
    sts_image_handle_t image;
    require(stsimg_create_image(setting.directory.c_str(), nullptr, "", &definition, 0, &image) == 0, "create");
    return image;
}

sts_image_handle_t open_image(const Setting &setting, const char *name) {
    const sts_image_definition_t definition = named(name);
    sts_image_handle_t image;
    require(stsimg_open_image(setting.directory.c_str(), nullptr, "", &definition, STSIMG_MODE_READ, &image) == 0,
            "open");
    return image;
}

std::vector<char> random_bytes(size_t size) {
    std::vector<char> bytes(size);
    std::mt19937_64 random(1);
    for (char &byte : bytes)
        byte = static_cast<char>(random());
    return bytes;
}

void write_image(const Setting &setting, const char *name, const std::vector<char> &block) {
    const sts_image_handle_t image = create_image(setting, name);
    for (uint64_t offset = 0; offset < setting.size; offset += block.size()) {
        uint64_t written;
        require(stsimg_write_image(image, nullptr, block.data(), block.size(), offset, &written) == 0, "write");
    }
    require(stsimg_close_image(image) == 0, "close");
}

// As dd with conv=fsync does it.
void write_plain(const Setting &setting, const char *name, const std::vector<char> &block) {
    const int file = open(setting.plain_file(name).c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    require(file >= 0, "open");
    for (uint64_t offset = 0; offset < setting.size; offset += block.size())
        require(write(file, block.data(), block.size()) == static_cast<ssize_t>(block.size()), "write");
    require(fsync(file) == 0, "fsync");
    require(close(file) == 0, "close");
}

void read_image(sts_image_handle_t image, std::vector<char> &block, uint64_t offset) {
    uint64_t got;
    require(stsimg_read_image(image, block.data(), block.size(), offset, &got) == 0 && got == block.size(), "read");
}

void read_plain(int file, std::vector<char> &block, uint64_t offset) {
    require(pread(file, block.data(), block.size(), static_cast<off_t>(offset)) == static_cast<ssize_t>(block.size()),
            "read");
}

void count_bytes(State &state, uint64_t for_each) {
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(for_each));
}

constexpr char written[] = "written";
constexpr char kept[] = "kept";

// Every repetition begins on a file system with nothing left to write.
void clear_written(const Setting &setting) {
    fs::remove(setting.plain_file(written));
    fs::remove(setting.image_file(written));
    sync();
}

void register_writing(const Setting &setting, const std::string &name, size_t block_size) {
    using Write = void (*)(const Setting &, const char *, const std::vector<char> &);
    for (const auto &[suffix, write] : {std::pair<const char *, Write>{"", write_image}, {"/bare", write_plain}})
        benchmark::RegisterBenchmark((name + suffix).c_str(), [&setting, block_size, write_all = write](State &state) {
            const std::vector<char> block = random_bytes(block_size);
            clear_written(setting);
            for (auto _ : state)
                write_all(setting, written, block);
            count_bytes(state, setting.size);
            clear_written(setting);
        })->Iterations(1);
}

// One image and one plain file are made when they are first read, and read by all.
void prepare_kept(const Setting &setting) {
    if (fs::exists(setting.plain_file(kept)))
        return;
    write_image(setting, kept, random_bytes(mebibyte));
    write_plain(setting, kept, random_bytes(mebibyte));
}

enum class PageCache { warm, cold };

void prepare_cache(const std::string &path, PageCache cache) {
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    std::vector<char> block(mebibyte);
    if (cache == PageCache::cold)
        require(posix_fadvise(file, 0, 0, POSIX_FADV_DONTNEED) == 0, "posix_fadvise");
    else
        while (read(file, block.data(), block.size()) > 0) {
        }
    close(file);
}

// Reads blocks in the order of next. From a warm cache the library's own work shows most.
template <class Next>
void register_reading(const Setting &setting, const std::string &name, size_t block_size, int64_t reads,
                      PageCache cache, Next next) {
    benchmark::RegisterBenchmark(name.c_str(), [=, &setting](State &state) {
        prepare_kept(setting);
        prepare_cache(setting.image_file(kept), cache);
        const sts_image_handle_t image = open_image(setting, kept);
        std::vector<char> block(block_size);
        Next place = next;
        for (auto _ : state)
            read_image(image, block, place());
        count_bytes(state, block_size);
        require(stsimg_close_image(image) == 0, "close");
    })->Iterations(reads);
    benchmark::RegisterBenchmark((name + "/bare").c_str(), [=, &setting](State &state) {
        prepare_kept(setting);
        prepare_cache(setting.plain_file(kept), cache);
        const int file = open(setting.plain_file(kept).c_str(), O_RDONLY | O_CLOEXEC);
        std::vector<char> block(block_size);
        Next place = next;
        for (auto _ : state)
            read_plain(file, block, place());
        count_bytes(state, block_size);
        close(file);
    })->Iterations(reads);
}

struct InOrder {
    uint64_t size, step, next = 0;
    uint64_t operator()() {
        const uint64_t place = next;
        next = (next + step) % size;
        return place;
    }
};

struct AtRandom {
    uint64_t size, length, alignment;
    std::minstd_rand random{7};
    uint64_t operator()() {
        const uint64_t number = uint64_t{random()} << 31 | random();
        return number % ((size - length) / alignment + 1) * alignment;
    }
};

// Opening by name, among few and among many images: the two are to be compared with each other.
void register_opening(const Setting &setting, size_t images) {
    benchmark::RegisterBenchmark(("open_and_close_among_" + std::to_string(images)).c_str(), [&setting,
                                                                                              images](State &state) {
        const Setting many{setting.directory + "/" + std::to_string(images), 4096};
        if (fs::create_directory(many.directory))
            for (size_t number = 0; number < images; ++number) {
                const std::string name = std::to_string(number);
                const std::string linked = std::to_string(number / 50000 * 50000);
                if (number % 50000 == 0)
                    write_image(many, name.c_str(), random_bytes(4096));
                else  // a link stands for an image
                    fs::create_hard_link(many.image_file(linked.c_str()), many.image_file(name.c_str()));
            }
        std::minstd_rand random(3);
        for (auto _ : state) {
            const std::string name = std::to_string(random() % images);
            require(stsimg_close_image(open_image(many, name.c_str())) == 0, "close");
        }
    })->Iterations(20000);
}

void register_all(const Setting &setting) {
    const uint64_t size = setting.size;
    const auto megabytes = static_cast<int64_t>(size / mebibyte);
    register_writing(setting, "write_in_order_1MiB", mebibyte);
    register_writing(setting, "write_in_order_64KiB", 65536);
    register_reading(setting, "read_in_order_1MiB_cold", mebibyte, megabytes, PageCache::cold, InOrder{size, mebibyte});
    register_reading(setting, "read_in_order_1MiB_warm", mebibyte, megabytes, PageCache::warm, InOrder{size, mebibyte});
    register_reading(setting, "read_at_random_4KiB_cold", 4096, 5000, PageCache::cold, AtRandom{size, 4096, 4096});
    register_reading(setting, "read_at_random_4KiB_warm", 4096, 300000, PageCache::warm, AtRandom{size, 4096, 4096});
    register_reading(setting, "read_at_random_4KiB_unaligned_warm", 4096, 300000, PageCache::warm,
                     AtRandom{size, 4096, 1});
    register_opening(setting, 100);
    register_opening(setting, 100000);
}

}  // namespace

int main(int argc, char **argv) {
    std::string parent = fs::temp_directory_path();
    uint64_t mebibytes = 2048;
    std::vector<char *> rest{argv[0]};
    int place = 0;
    for (char **word = argv + 1; word != argv + argc; ++word) {
        if (**word == '-')
            rest.push_back(*word);
        else if (place++ == 0)
            parent = *word;
        else
            mebibytes = std::strtoull(*word, nullptr, 10);
    }
    require(mebibytes > 0, "MIB must be a number");
    std::string directory = parent + "/stsimage-bench-XXXXXX";
    require(mkdtemp(directory.data()) != nullptr, "mkdtemp");
    const Setting setting{directory, mebibytes * mebibyte};
    register_all(setting);
    const int status = run_with_ratios(static_cast<int>(rest.size()), rest.data());
    std::error_code ignored;
    fs::remove_all(directory, ignored);
    return status;
}
