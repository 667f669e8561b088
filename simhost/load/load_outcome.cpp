#include "simhost/load/load_outcome.h"

#include <algorithm>

namespace {

// What is left over at the end stays.
template <class Value, class Merge>
void halve_values(std::vector<Value> &values, Merge merge) {
    size_t kept = 0;
    for (size_t i = 0; i < values.size(); i += 2)
        values[kept++] = i + 1 < values.size() ? merge(values[i], values[i + 1]) : values[i];
    values.resize(kept);
}

Measurement lesser(const Measurement &a, const Measurement &b) { return a.value <= b.value ? a : b; }

}  // namespace

void LoadOutcome::halve() {
    halve_values(points, [](const TimePoint &before, const TimePoint &after) {
        TimePoint both = after;
        both.p99_ns = std::max(before.p99_ns, after.p99_ns);
        return both;
    });
    for (ProcessHistory &history : histories)
        for (auto *measurements :
             {&history.descriptors, &history.threads, &history.heap_bytes, &history.resident_bytes})
            halve_values(*measurements, lesser);
}
