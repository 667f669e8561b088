#include "simhost/load/load_comparison.h"

#include <cmath>

#include "simhost/load/load_document.h"

namespace {

struct Estimate {
    double value;
    double low;
    double high;
};

// The rate of something that is counted over time: mean of the stretches between points, and its 95 % interval.
Estimate rate_of(const Json &series, const char *column) {
    std::vector<double> rates;
    const Json &seconds = series.at("seconds");
    const Json &counts = series.at(column);
    for (size_t i = 1; i < seconds.size(); ++i) {
        const double time = seconds[i].get<double>() - seconds[i - 1].get<double>();
        // The last point may follow the one before it at once.
        if (time > 0.05)
            rates.push_back((counts[i].get<double>() - counts[i - 1].get<double>()) / time);
    }
    const auto count = static_cast<double>(rates.size());
    double mean = 0;
    for (const double rate : rates)
        mean += rate / count;
    double squares = 0;
    for (const double rate : rates)
        squares += (rate - mean) * (rate - mean);
    const double error = rates.size() < 2 ? mean : 1.96 * std::sqrt(squares / (count - 1) / count);
    return {mean, mean - error, mean + error};
}

// Relative change from one estimate to the other; errors add up as independent ones do.
LoadDifference difference(const std::string &what, const Estimate &before, const Estimate &after, bool more_is_better,
                          double bound) {
    const double base = before.value > 0 ? before.value : 1;
    const double change = (after.value - before.value) / base;
    const double down = std::hypot(after.value - after.low, before.high - before.value) / base;
    const double up = std::hypot(after.high - after.value, before.value - before.low) / base;
    LoadDifference found{what, before.value, after.value, change - down, change + up, more_is_better};
    found.worse = more_is_better ? found.high < -bound : found.low > bound;
    return found;
}

Estimate latency_of(const Json &latency, const char *key) {
    const Json &share = latency.at(key);
    return {share.at("ns"), share.at("low_ns"), share.at("high_ns")};
}

// A share of the slowest is only known of when some were that slow.
bool has_enough(const Json &latency, double share) {
    constexpr double least = 10 - 1e-6;  // 1 - 0.9 is a little less than a tenth
    return latency.at("count").get<double>() * (1 - share) >= least;
}

}  // namespace

std::vector<LoadDifference> compare_loads(const Json &before, const Json &after, double bound) {
    try {
        std::vector<LoadDifference> differences;
        for (const auto &[column, what] :
             {std::pair{"operations", "operations a second"}, std::pair{"bytes_written", "bytes written a second"},
              std::pair{"bytes_read", "bytes read a second"}})
            differences.push_back(difference(what, rate_of(before.at("series"), column),
                                             rate_of(after.at("series"), column), true, bound));
        for (const char *group : {"operations", "entry_points"})
            for (const auto &[name, latency] : before.at("latencies").at(group).items()) {
                const Json &others = after.at("latencies").at(group);
                if (!others.contains(name))
                    continue;
                for (const LatencyShare &share : latency_shares) {
                    if (!has_enough(latency, share.share) || !has_enough(others[name], share.share))
                        continue;
                    differences.push_back(difference(name + ' ' + share.key, latency_of(latency, share.key),
                                                     latency_of(others[name], share.key), false, bound));
                }
            }
        return differences;
    } catch (const Json::exception &failure) {
        throw UsageError(fmt::format("it is no result of \"simhost load --json\": {}", failure.what()));
    }
}
