#include "simhost/load/run_state.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <ctime>
#include <map>

namespace {

constexpr size_t findings_kept = 100;
constexpr unsigned most_sets = 32;
constexpr size_t times_per_set = loaded_calls + operation_count;

size_t arena_bytes(const Workload &workload) {
    const uint64_t images = uint64_t{workload.total_streams()} * workload.images;
    return (size_t{64} << 20) + images * 128 + workload.total_streams() * (sizeof(StreamState) + 64) +
           size_t{most_sets} * times_per_set * (16 << 10);
}

uint64_t status_key(LoadedCall call, int32_t status) {
    return (uint64_t{1} << 63) | (static_cast<uint64_t>(call) << 32) | static_cast<uint32_t>(status);
}

}  // namespace

uint64_t now_ns() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000000000 + static_cast<uint64_t>(now.tv_nsec);
}

RunState::RunState(const Workload &workload)
    : m_workload(workload),
      m_arena(arena_bytes(workload)),
      m_ledger(m_arena, workload.seed, uint64_t{workload.total_streams()} * workload.images),
      m_control(m_arena.make<Control>()),
      m_findings(m_arena.make<LoadFinding>(findings_kept)),
      m_streams(m_arena.make<StreamState>(workload.total_streams())),
      m_processes(m_arena.make<ProcessState>(workload.processes + 1)),
      m_unknown(m_arena.make<UnknownCounts>()),
      m_sets(std::min(workload.total_streams(), most_sets)) {
    m_histograms.reserve(m_sets * times_per_set);
    for (size_t i = 0; i < m_sets * times_per_set; ++i)
        m_histograms.emplace_back(m_arena);
}

LatencyHistogram &RunState::call_times(unsigned stream, LoadedCall call) {
    return m_histograms[stream % m_sets * times_per_set + static_cast<size_t>(call)];
}

LatencyHistogram &RunState::operation_times(unsigned stream, Operation operation) {
    return m_histograms[stream % m_sets * times_per_set + loaded_calls + static_cast<size_t>(operation)];
}

LatencySummary RunState::call_summary(LoadedCall call) const {
    LatencySummary total;
    for (size_t set = 0; set < m_sets; ++set)
        total.add(m_histograms[set * times_per_set + static_cast<size_t>(call)].summary());
    return total;
}

LatencySummary RunState::operation_summary(Operation operation) const {
    LatencySummary total;
    for (size_t set = 0; set < m_sets; ++set)
        total.add(m_histograms[set * times_per_set + loaded_calls + static_cast<size_t>(operation)].summary());
    return total;
}

LatencySummary RunState::all_operations() const {
    LatencySummary total;
    for (size_t i = 0; i < operation_count; ++i)
        total.add(operation_summary(static_cast<Operation>(i)));
    return total;
}

void RunState::count_status(unsigned stream, LoadedCall call, int32_t status) {
    const uint64_t key = status_key(call, status);
    for (StatusCount &place : m_streams[stream].statuses) {
        uint64_t there = 0;
        if (place.key.compare_exchange_strong(there, key) || there == key) {
            place.count.fetch_add(1, std::memory_order_relaxed);
            return;
        }
    }
}

std::vector<RunState::StatusTotal> RunState::status_totals() const {
    std::map<uint64_t, uint64_t> counts;
    for (unsigned stream = 0; stream < m_workload.total_streams(); ++stream)
        for (const StatusCount &place : m_streams[stream].statuses)
            if (place.key != 0)
                counts[place.key] += place.count;
    std::vector<StatusTotal> totals;
    totals.reserve(counts.size());
    for (const auto &[key, count] : counts)
        totals.push_back({static_cast<LoadedCall>((key >> 32) & 0xff), static_cast<int32_t>(key & 0xffffffff), count});
    return totals;
}

void RunState::found(PromiseKind kind, const std::string &text) {
    m_control->found[static_cast<size_t>(kind)].fetch_add(1);
    const uint64_t place = m_control->texts.fetch_add(1);
    if (place >= findings_kept)
        return;
    LoadFinding &finding = m_findings[place];
    finding.kind = kind;
    finding.at_ns = now_ns() - m_control->start_ns;
    const size_t length = std::min(text.size(), sizeof finding.text - 1);
    std::memcpy(finding.text, text.data(), length);
    finding.ready.store(true, std::memory_order_release);
}

std::vector<const LoadFinding *> RunState::findings() const {
    std::vector<const LoadFinding *> ready;
    ready.reserve(findings_kept);
    for (size_t i = 0; i < findings_kept; ++i)
        if (m_findings[i].ready.load(std::memory_order_acquire))
            ready.push_back(m_findings + i);
    return ready;
}

uint64_t RunState::found_total() const {
    uint64_t total = 0;
    for (const auto &count : m_control->found)
        total += count;
    return total;
}

std::string RunState::running_text(unsigned stream) {
    const RunningCall &running = m_streams[stream].running;
    const LoadedCall call = running.call;
    if (running.started_ns == 0 || call == LoadedCall::count)
        return {};
    std::string text = loaded_call_name(call);
    if (running.image != no_image)
        text += " of " + m_ledger.name(running.image);
    if (running.length != 0)
        text += fmt::format(", {} bytes at {}", running.length.load(), running.offset.load());
    return text;
}
