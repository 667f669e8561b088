#include "simhost/journal/journal_stats.h"

#include <algorithm>
#include <cmath>
#include <set>

using namespace journal;

namespace {

std::string name_of(const EntryPoint *called) { return called != nullptr ? called->name : "unknown"; }

}  // namespace

void Latencies::sort() { std::sort(nanoseconds.begin(), nanoseconds.end()); }

uint64_t Latencies::at(double share) const {
    if (nanoseconds.empty())
        return 0;
    const double rank = std::ceil(share * static_cast<double>(nanoseconds.size()));
    const auto index = static_cast<size_t>(std::max(rank, 1.0)) - 1;
    return nanoseconds[std::min(index, nanoseconds.size() - 1)];
}

JournalStats collect_stats(Events &events) {
    JournalStats stats;
    std::set<unsigned> processes;
    std::set<std::pair<unsigned, unsigned>> threads;
    for (Event event; events.next(event); ++stats.records) {
        const RecordHead &head = event.record.head;
        processes.insert(event.process);
        threads.emplace(event.process, event.thread);
        if (stats.records == 0)
            stats.first_ns = head.monotonic_ns;
        stats.last_ns = std::max(stats.last_ns, head.monotonic_ns);
        if (head.kind == RecordKind::log)
            ++stats.messages;
        if (head.kind == RecordKind::fault && event.called != nullptr)
            ++stats.entry_points[event.called->name].faults;
        if (head.kind != RecordKind::leave)
            continue;
        EntryPointStats &entry = stats.entry_points[name_of(event.called)];
        ++stats.calls;
        ++entry.calls;
        ++entry.statuses[head.status];
        if (event.entered)
            entry.latencies.nanoseconds.push_back(event.duration_ns);
    }
    for (const RunningCall &call : events.running()) {
        ++stats.entry_points[name_of(entry_point(call.entry_point))].running;
    }
    for (auto &[name, entry] : stats.entry_points)
        entry.latencies.sort();
    stats.processes = processes.size();
    stats.threads = threads.size();
    return stats;
}
