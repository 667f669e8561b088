#include "bench/section_costs.h"

#include <benchmark/benchmark.h>

#include <algorithm>

#include "bench/open_servers.h"

namespace {

using benchmark::Counter;
using benchmark::State;

void count_sections(State &state) {
    state.counters["per_section"] =
        Counter(static_cast<double>(state.range(0)), Counter::kIsIterationInvariantRate | Counter::kInvert);
}

template <class Call>
void measure(const ConfigurationFiles &files, const char *name, Call call) {
    benchmark::RegisterBenchmark(name,
                                 [&files, call](State &state) {
                                     files.write_disk_array(static_cast<int>(state.range(0)));
                                     const OpenServer server = OpenServer::of_hosts();
                                     const std::string last = "pool" + std::to_string(state.range(0) - 1);
                                     for (auto _ : state)
                                         benchmark::DoNotOptimize(call(server, last));
                                     count_sections(state);
                                 })
        ->RangeMultiplier(10)
        ->Range(10, 10000);
}

}  // namespace

void register_section_costs(const ConfigurationFiles &files) {
    measure(files, "sections.create_server.close_server",
            [](const OpenServer &, const std::string &) { return OpenServer::of_hosts().handle(); });
    measure(files, "sections.list_pools", [](const OpenServer &server, const std::string &) {
        sts_lsu_list_handle_t list = nullptr;
        char name[STS_LSU_NAME_SIZE];
        stspi_open_lsu_list(server.handle(), nullptr, &list);
        while (stspi_list_lsu(list, name) == 0) {
        }
        return stspi_close_lsu_list(list);
    });
    measure(files, "sections.look_up_last", [](const OpenServer &server, const std::string &last) {
        static sts_lsu_info_v9_t info;
        const stsp_lsu_v7_t lsu = server.lsu(last.c_str());
        return stspi_get_lsu_prop_byname(&lsu, &info);
    });
}
