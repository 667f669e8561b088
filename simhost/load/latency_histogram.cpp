#include "simhost/load/latency_histogram.h"

#include <algorithm>
#if __has_include(<boost/histogram/accumulators/thread_safe.hpp>)
#include <boost/histogram/accumulators/thread_safe.hpp>
#else
#include <boost/histogram/accumulators/count.hpp>
#endif
#include <boost/histogram/axis/regular.hpp>
#include <boost/histogram/histogram.hpp>
#include <boost/histogram/indexed.hpp>
#include <boost/histogram/make_histogram.hpp>
#include <boost/histogram/storage_adaptor.hpp>
#include <cmath>
#include <tuple>

namespace {

namespace bh = boost::histogram;

// 50 ns to 5000 s in steps of two percent; shorter and longer times have a class each.
constexpr double shortest_ns = 50;
constexpr double longest_ns = 5e12;
constexpr unsigned classes = 1279;

using Axis = bh::axis::regular<double, bh::axis::transform::log>;
#if __has_include(<boost/histogram/accumulators/thread_safe.hpp>)
using Count = bh::accumulators::thread_safe<uint64_t>;
#else  // its name since Boost 1.77
using Count = bh::accumulators::count<uint64_t, true>;
#endif
using Storage = bh::storage_adaptor<std::vector<Count, SharedAllocator<Count>>>;
using Histogram = bh::histogram<std::tuple<Axis>, Storage>;

const Axis &axis() {
    static const Axis regular(classes, shortest_ns, longest_ns);
    return regular;
}

}  // namespace

struct LatencyHistogram::Shared {
    std::atomic<uint64_t> sum_ns{0};
    std::atomic<uint64_t> max_ns{0};
};

struct LatencyHistogram::Classes {
    explicit Classes(SharedArena &arena)
        : histogram(std::make_tuple(axis()),
                    Storage(std::vector<Count, SharedAllocator<Count>>(SharedAllocator<Count>(arena)))) {}
    Histogram histogram;
};

LatencyHistogram::LatencyHistogram(SharedArena &arena)
    : m_classes(std::make_unique<Classes>(arena)), m_shared(arena.make<Shared>()) {}

LatencyHistogram::~LatencyHistogram() = default;
LatencyHistogram::LatencyHistogram(LatencyHistogram &&) noexcept = default;

void LatencyHistogram::add(uint64_t nanoseconds) {
    m_classes->histogram(static_cast<double>(nanoseconds));
    m_shared->sum_ns.fetch_add(nanoseconds, std::memory_order_relaxed);
    uint64_t longest = m_shared->max_ns.load(std::memory_order_relaxed);
    while (nanoseconds > longest &&
           !m_shared->max_ns.compare_exchange_weak(longest, nanoseconds, std::memory_order_relaxed))
        continue;
}

LatencySummary LatencyHistogram::summary() const {
    LatencySummary summary;
    summary.counts.reserve(classes + 2);
    for (auto &&bin : bh::indexed(m_classes->histogram, bh::coverage::all)) {
        summary.counts.push_back(static_cast<uint64_t>(*bin));
        summary.count += summary.counts.back();
    }
    summary.sum_ns = static_cast<double>(m_shared->sum_ns.load(std::memory_order_relaxed));
    summary.max_ns = m_shared->max_ns.load(std::memory_order_relaxed);
    return summary;
}

// Class 0 is what is shorter than the axis.
double LatencyHistogram::class_end(size_t number) {
    return axis().value(static_cast<double>(std::min<size_t>(number, classes)));
}

void LatencySummary::add(const LatencySummary &other) {
    count += other.count;
    sum_ns += other.sum_ns;
    max_ns = std::max(max_ns, other.max_ns);
    counts.resize(std::max(counts.size(), other.counts.size()));
    for (size_t i = 0; i < other.counts.size(); ++i)
        counts[i] += other.counts[i];
}

LatencySummary LatencySummary::since(const LatencySummary &earlier) const {
    LatencySummary difference = *this;
    difference.count -= earlier.count;
    difference.sum_ns -= earlier.sum_ns;
    for (size_t i = 0; i < earlier.counts.size(); ++i)
        difference.counts[i] -= earlier.counts[i];
    return difference;
}

double LatencySummary::at(double share) const {
    if (count == 0)
        return 0;
    const auto rank = static_cast<uint64_t>(std::max(1.0, std::ceil(share * static_cast<double>(count))));
    uint64_t seen = 0;
    for (size_t i = 0; i < counts.size(); ++i)
        if ((seen += counts[i]) >= rank)
            return std::min(LatencyHistogram::class_end(i), static_cast<double>(max_ns));
    return static_cast<double>(max_ns);
}

std::pair<double, double> LatencySummary::interval(double share) const {
    if (count == 0)
        return {0, 0};
    // The rank is a binomial count; for many calls that is near a normal one.
    const double error = 1.96 * std::sqrt(share * (1 - share) / static_cast<double>(count));
    return {at(std::max(0.0, share - error)), at(std::min(1.0, share + error))};
}
