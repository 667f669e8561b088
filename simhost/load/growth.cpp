#include "simhost/load/growth.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr size_t stretches = 20;
constexpr size_t least_measurements = 24;

std::vector<Measurement> least_of_stretches(const std::vector<Measurement> &measurements) {
    const size_t first = measurements.size() / 4;
    const size_t count = measurements.size() - first;
    std::vector<Measurement> least;
    least.reserve(stretches);
    for (size_t i = 0; i < stretches; ++i) {
        const auto begin = measurements.begin() + static_cast<std::ptrdiff_t>(first + i * count / stretches);
        const auto end = measurements.begin() + static_cast<std::ptrdiff_t>(first + (i + 1) * count / stretches);
        if (begin == end)
            continue;
        least.push_back(*std::min_element(
            begin, end, [](const Measurement &a, const Measurement &b) { return a.value < b.value; }));
    }
    return least;
}

struct Line {
    bool is_one = false;  // the points are of more than one moment
    double slope = 0;
    double error = 0;  // of the slope
    double rise = 0;   // from the first point to the last one
};

Line line_through(const std::vector<Measurement> &points) {
    const auto count = static_cast<double>(points.size());
    double mean_time = 0;
    double mean_value = 0;
    for (const Measurement &point : points) {
        mean_time += point.seconds / count;
        mean_value += point.value / count;
    }
    double times = 0;
    double products = 0;
    for (const Measurement &point : points) {
        times += (point.seconds - mean_time) * (point.seconds - mean_time);
        products += (point.seconds - mean_time) * (point.value - mean_value);
    }
    Line line;
    if (times <= 0)
        return line;
    line.is_one = true;
    line.slope = products / times;
    double residuals = 0;
    for (const Measurement &point : points) {
        const double off = point.value - mean_value - line.slope * (point.seconds - mean_time);
        residuals += off * off;
    }
    line.error = std::sqrt(residuals / (count - 2) / times);
    line.rise = line.slope * (points.back().seconds - points.front().seconds);
    return line;
}

}  // namespace

Growth judge_growth(const std::vector<Measurement> &measurements, double floor) {
    Growth growth;
    if (measurements.size() < least_measurements)
        return growth;
    const std::vector<Measurement> points = least_of_stretches(measurements);
    const Line line = line_through(points);
    if (!line.is_one)
        return growth;
    const Line later = line_through({points.begin() + static_cast<std::ptrdiff_t>(points.size() / 2), points.end()});
    growth.judged = true;
    growth.per_hour = line.slope * 3600;
    growth.error_per_hour = line.error * 3600;
    growth.total = line.rise;
    growth.grows = line.slope > 3 * line.error && line.rise > floor && later.rise > std::max(floor, line.rise / 2) / 2;
    return growth;
}
