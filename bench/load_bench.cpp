// What a load costs by itself: a stream of "simhost load" beside a bare loop of the very calls that it makes.
//
//     load_bench [DIRECTORY] [PAIRS]
//
// Calls of 1 MiB go through the plug-in and the substitute image library, with images below DIRECTORY (/dev/shm, where a call
// costs least, so that a load's share is greatest). Small calls go to a server in memory whose calls do next to nothing. Both
// sides run in turns, PAIRS (15) times; what is told are medians of processor time.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "base/private_directory.h"
#include "bench/memory_server.h"
#include "bench/recorded_calls.h"
#include "redirect/config_redirect.h"
#include "simhost/host/plugin_library.h"
#include "simhost/load/stream.h"
#include "simhost/load/workload_settings.h"

namespace {

const std::string server_name = "Kelvarpool:mediaA";

double processor_ns(const std::function<void()> &work) {
    const auto now = [] {
        timespec time = {};
        clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
        return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
    };
    const double start = now();
    work();
    return now() - start;
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

struct Subject {
    const PluginLibrary &library;
    const EntryPoints &entry;
};

// The server as a load knows it before it begins.
LoadTarget target_of(const EntryPoints &entry) {
    LoadTarget target;
    target.server = server_name;
    target.hosts = {"mediaA"};
    target.listed = {"gold"};
    target.places.resize(1);
    target.places.front().lsu = "gold";
    const sts_host_t host = {"mediaA"};
    stsp_lsu_v7_t lsu = {nullptr, "gold"};
    if (entry.create_server(nullptr, server_name.c_str(), nullptr, nullptr, &host, 1, &lsu.server) != 0 ||
        entry.get_server_prop(lsu.server, &target.server_info) != 0 ||
        entry.get_lsu_prop_byname(&lsu, &target.places.front().info) != 0)
        std::exit(1);
    entry.close_server(lsu.server);
    return target;
}

// Performs the operations of a workload as one stream does; returns what they cost.
double cost_of_load(const Subject &subject, const EntryPoints &entry, const Workload &workload) {
    RunState run(workload);
    const LoadTarget target = target_of(subject.entry);
    std::mutex opening;
    Stream stream({run, target, entry, nullptr, subject.library, opening}, 0);
    run.start_ns() = now_ns();
    const double cost = processor_ns([&stream] { stream.run(); });
    if (run.found_total() == 0)
        return cost;
    std::fprintf(stderr, "load_bench: %s\n", run.findings().front()->text);
    std::exit(1);
}

void measure(const char *what, const Subject &subject, const Workload &workload, int pairs) {
    RecordedCalls recorded(subject.entry);
    cost_of_load(subject, recorded.recording(), workload);
    recorded.clear(server_name, "gold");
    std::vector<double> loads;
    std::vector<double> bare;
    std::vector<double> ratios;
    std::vector<double> differences;
    for (int pair = 0; pair < pairs; ++pair) {
        const auto load_side = [&] { loads.push_back(cost_of_load(subject, subject.entry, workload)); };
        const auto bare_side = [&] { bare.push_back(processor_ns([&] { recorded.repeat(server_name, "gold"); })); };
        // Neither side always comes first.
        for (const bool is_load : {pair % 2 == 0, pair % 2 != 0}) {
            if (is_load)
                load_side();
            else
                bare_side();
            recorded.clear(server_name, "gold");
        }
        ratios.push_back(loads.back() / bare.back());
        differences.push_back(loads.back() - bare.back());
    }
    const auto calls = static_cast<double>(recorded.size());
    std::printf("%-28s %8.0f %12.0f %12.0f %10.0f %9.2f\n", what, calls, median(loads) / calls, median(bare) / calls,
                median(differences) / calls, median(ratios) * 100 - 100);
    std::fflush(stdout);
}

Workload workload_of(const char *mix, const char *sizes, uint64_t chunk_bytes, unsigned images, uint64_t operations) {
    Workload workload;
    workload.streams = 1;
    workload.mix = parse_mix(mix);
    workload.sizes = SizeDistribution(sizes);
    workload.chunk_bytes = chunk_bytes;
    workload.images = images;
    workload.operations = operations;
    return workload;
}

void write_server_file(const PrivateDirectory &directory) {
    FILE *file = std::fopen((directory / "Kelvarpool.sim").c_str(), "we");
    if (file == nullptr)
        std::exit(1);
    std::fprintf(file, "ENCLOSURE = gold;\n\tDISKS = g1;\n\tHOSTS = mediaA;\n\tDISK_SIZE = 10G;\n\tSTORAGE_DIR = %s;\n",
                 directory.path().c_str());
    std::fclose(file);
}

}  // namespace

int main(int argc, char **argv) {
    setenv("TMPDIR", argc > 1 ? argv[1] : "/dev/shm", 1);
    const int pairs = argc > 2 ? std::atoi(argv[2]) : 15;
    const PrivateDirectory directory("load_bench", AtEnd::remove_all);
    write_server_file(directory);
    set_config_directory(directory.path());
    setenv("STSIMAGE_ROOT", directory.path().c_str(), 1);
    const PluginLibrary library(PLUGIN, IMAGE_LIBRARY, "");
    sts_registration_t registration = {};
    sts_registration2_t registration2 = {};
    if (library.init(9, nullptr, &registration) != 0 || library.init2(9, &registration2) != 0)
        return 1;
    const EntryPoints plugin = bind_entry_points(registration.entry_points, registration2.entry_points);
    const EntryPoints memory = memory_server();
    const Subject subject = {library, plugin};
    const Subject in_memory = {library, memory};
    constexpr uint64_t mebibyte = uint64_t{1} << 20;
    std::printf("%-28s %8s %12s %12s %10s %9s\n", "processor time", "calls", "load ns/call", "bare ns/call", "own ns",
                "own %");
    measure("1 MiB writes", subject, workload_of("backup", "64M", mebibyte, 4, 12), pairs);
    measure("1 MiB writes and reads", subject, workload_of("backup,restore", "64M", mebibyte, 4, 16), pairs);
    measure("4 KiB images, in memory", in_memory,
            workload_of("backup=30,restore=25,verify=15,expire=10,properties=10,session=2", "4K", 4096, 64, 100000),
            pairs);
    measure("4 KiB writes, in memory", in_memory, workload_of("backup", "4K", 4096, 64, 100000), pairs);
    measure("properties, in memory", in_memory, workload_of("backup,properties=20", "4K", 4096, 64, 100000), pairs);
    measure("lists of 64, in memory", in_memory, workload_of("backup=20,list", "4K", 4096, 64, 20000), pairs);
    measure("sessions, in memory", in_memory, workload_of("session", "4K", 4096, 64, 50000), pairs);
}
