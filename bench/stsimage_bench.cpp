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

    std::string plain_file() const { return directory + "/plain"; }
};

void require(bool fine, const char *what) {
    if (fine)
        return;
    std::fprintf(stderr, "stsimage_bench: %s: %s; %s\n", what, std::strerror(errno), stsimg_last_error());
    std::exit(1);
}

const sts_image_definition_t bench_image{"bench"};

sts_image_handle_t open_for_writing(const Setting &setting) {
    sts_image_handle_t image;
    require(stsimg_create_image(setting.directory.c_str(), nullptr, "", &bench_image, 0, &image) == 0, "create");
    return image;
}

sts_image_handle_t open_for_reading(const Setting &setting) {
    sts_image_handle_t image;
    require(stsimg_open_image(setting.directory.c_str(), nullptr, "", &bench_image, STSIMG_MODE_READ, &image) == 0,
            "open");
    return image;
}

void remove_image(const Setting &setting) {
    require(stsimg_delete_image(setting.directory.c_str(), nullptr, "", &bench_image, 0) == 0, "delete");
}

std::vector<char> random_bytes(size_t size) {
    std::vector<char> bytes(size);
    std::mt19937_64 random(1);
    for (char &byte : bytes)
        byte = static_cast<char>(random());
    return bytes;
}

void write_image(const Setting &setting, const std::vector<char> &block) {
    const sts_image_handle_t image = open_for_writing(setting);
    for (uint64_t offset = 0; offset < setting.size; offset += block.size()) {
        uint64_t written;
        require(stsimg_write_image(image, nullptr, block.data(), block.size(), offset, &written) == 0, "write");
    }
    require(stsimg_close_image(image) == 0, "close");
}

// As dd with conv=fsync does it.
void write_plain(const Setting &setting, const std::vector<char> &block) {
    const int file = open(setting.plain_file().c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    require(file >= 0, "open");
    for (uint64_t offset = 0; offset < setting.size; offset += block.size())
        require(write(file, block.data(), block.size()) == static_cast<ssize_t>(block.size()), "write");
    require(fsync(file) == 0, "fsync");
    require(close(file) == 0, "close");
}

// Every repetition begins on a file system with nothing left to write.
void clear(const Setting &setting) {
    fs::remove(setting.plain_file());
    stsimg_delete_image(setting.directory.c_str(), nullptr, "", &bench_image, 0);
    sync();
}

void count_bytes(State &state, uint64_t for_each) {
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(for_each));
}

void register_writing(const Setting &setting, const std::string &name, size_t block_size) {
    using Write = void (*)(const Setting &, const std::vector<char> &);
    for (const auto &[suffix, write] : {std::pair<const char *, Write>{"", write_image}, {"/bare", write_plain}})
        benchmark::RegisterBenchmark((name + suffix).c_str(), [&setting, block_size, write = write](State &state) {
            const std::vector<char> block = random_bytes(block_size);
            clear(setting);
            for (auto _ : state)
                write(setting, block);
            count_bytes(state, setting.size);
            clear(setting);
        })->Iterations(1);
}

void read_image(sts_image_handle_t image, std::vector<char> &block, uint64_t offset) {
    uint64_t got;
    require(stsimg_read_image(image, block.data(), block.size(), offset, &got) == 0 && got == block.size(), "read");
}

void read_plain(int file, std::vector<char> &block, uint64_t offset) {
    require(pread(file, block.data(), block.size(), static_cast<off_t>(offset)) == static_cast<ssize_t>(block.size()),
            "read");
}

// Reads blocks in the order of next, from files that the page cache holds: so the library's own work shows most.
template <class Next>
void register_reading(const Setting &setting, const std::string &name, size_t block_size, int64_t reads, Next next) {
    benchmark::RegisterBenchmark(name.c_str(), [=, &setting](State &state) {
        write_image(setting, random_bytes(mebibyte));
        const sts_image_handle_t image = open_for_reading(setting);
        std::vector<char> block(block_size);
        Next place = next;
        for (auto _ : state)
            read_image(image, block, place());
        count_bytes(state, block_size);
        require(stsimg_close_image(image) == 0, "close");
        remove_image(setting);
    })->Iterations(reads);
    benchmark::RegisterBenchmark((name + "/bare").c_str(), [=, &setting](State &state) {
        write_plain(setting, random_bytes(mebibyte));
        const int file = open(setting.plain_file().c_str(), O_RDONLY | O_CLOEXEC);
        std::vector<char> block(block_size);
        Next place = next;
        for (auto _ : state)
            read_plain(file, block, place());
        count_bytes(state, block_size);
        close(file);
        fs::remove(setting.plain_file());
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

void register_all(const Setting &setting) {
    register_writing(setting, "write_in_order_1MiB", mebibyte);
    register_writing(setting, "write_in_order_64KiB", 65536);
    register_writing(setting, "write_in_order_10KiB", 10240);
    for (const auto &[name, step] :
         {std::pair<const char *, size_t>{"read_in_order_1MiB", mebibyte}, {"read_in_order_64KiB", 65536}})
        register_reading(setting, name, step, static_cast<int64_t>(setting.size / step), InOrder{setting.size, step});
    register_reading(setting, "read_at_random_4KiB", 4096, 500000, AtRandom{setting.size, 4096, 4096});
    register_reading(setting, "read_at_random_4KiB_unaligned", 4096, 500000, AtRandom{setting.size, 4096, 1});
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
