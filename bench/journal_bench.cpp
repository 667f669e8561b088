// What a journal costs: a call is an entering and a leaving record.
//
//     journal_bench [DIRECTORY] [Google Benchmark's arguments]
//
// The journal lies below DIRECTORY (the temporary directory). A ring of 1 MiB stays in the processor's cache; one of 64 MiB
// shows what new pages cost.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "bench/ratio_report.h"
#include "journal/clock.h"
#include "journal/writer.h"

namespace {

using benchmark::State;
using journal::EntryPointNumber;
using journal::Writer;

std::string directory = std::filesystem::temp_directory_path();

uint64_t word_of(const void *pointer) { return reinterpret_cast<uintptr_t>(pointer); }

std::unique_ptr<Writer> open_journal(uint64_t limit, journal::DataMode data) {
    journal::WriterOptions options;
    options.path = directory + "/journal_bench.stspi";
    options.limit = limit;
    options.mode = journal::Mode::ring;
    options.data = data;
    options.fresh = true;
    std::string error;
    int number = 0;
    std::unique_ptr<Writer> writer = Writer::open(options, {}, error, number);
    if (!writer) {
        std::fprintf(stderr, "journal_bench: %s\n", error.c_str());
        std::exit(1);
    }
    return writer;
}

void record(State &state, uint64_t limit, journal::DataMode data, const char *name,
            const std::vector<uint64_t> &words) {
    static std::unique_ptr<Writer> writer;
    if (state.thread_index() == 0)
        writer = open_journal(limit, data);
    const EntryPointNumber number = journal::find_entry_point(name);
    for (auto iteration : state) {
        static_cast<void>(iteration);
        const journal::CallNumber call = writer->enter(number, words.data());
        writer->leave(call, number, words.data(), 0);
    }
    if (state.thread_index() == 0)
        writer.reset();
}

constexpr uint64_t MIB = uint64_t{1} << 20;

// The clock alone, four times as for a call: two readings a record.
void clocks(State &state) {
    for (auto iteration : state) {
        static_cast<void>(iteration);
        for (int i = 0; i < 2; ++i) {
            benchmark::DoNotOptimize(journal::coarse_wall_now());
            benchmark::DoNotOptimize(journal::monotonic_now());
        }
    }
}
BENCHMARK(clocks);

void ioctl(State &state) { record(state, MIB, journal::DataMode::hash, "stspi_ioctl", {0, 1}); }
BENCHMARK(ioctl);

void claim(State &state) { record(state, MIB, journal::DataMode::hash, "stspi_claim", {word_of("Kelvarpool:mediaA")}); }
BENCHMARK(claim);
BENCHMARK(claim)->Name("claim/two threads")->Threads(2)->UseRealTime();

void claim_new_pages(State &state) {
    record(state, 64 * MIB, journal::DataMode::hash, "stspi_claim", {word_of("Kelvarpool:mediaA")});
}
BENCHMARK(claim_new_pages)->Name("claim/64 MiB");

void list_lsu(State &state) {
    static char name[STS_LSU_NAME_SIZE] = "pool1";
    record(state, MIB, journal::DataMode::hash, "stspi_list_lsu", {0x1000, word_of(name)});
}
BENCHMARK(list_lsu);

void write_image(State &state, journal::DataMode data, size_t size) {
    const std::vector<char> buffer(size, 'x');
    uint64_t count = size;
    record(state, MIB, data, "stspi_write_image", {0x1000, 0, word_of(buffer.data()), size, 0, word_of(&count)});
}
BENCHMARK_CAPTURE(write_image, 4 KiB by size, journal::DataMode::size, 4096);
BENCHMARK_CAPTURE(write_image, 4 KiB by hash, journal::DataMode::hash, 4096);
BENCHMARK_CAPTURE(write_image, 1 MiB by size, journal::DataMode::size, MIB);
BENCHMARK_CAPTURE(write_image, 1 MiB by hash, journal::DataMode::hash, MIB);

}  // namespace

int main(int argc, char **argv) {
    if (argc > 1 && argv[1][0] != '-') {
        directory = argv[1];
        --argc;
        ++argv;
    }
    const int status = run_with_ratios(argc, argv);
    std::filesystem::remove(directory + "/journal_bench.stspi");
    return status;
}
