#include "conformance/report/log_diff.h"

#include <fmt/format.h>

#include <algorithm>

namespace conformance {

namespace {

using Lines = std::vector<std::string>;

constexpr size_t narrowest_column = 8;  // "expected"
constexpr size_t widest_column = 72;
constexpr size_t most_log_rows = 60;
constexpr size_t longest_aligned = 400;  // longer logs are shown line by line

// lengths[i * (got.size() + 1) + j]: messages that expected from i on and got from j on have in common, in order.
std::vector<size_t> common_lengths(const Lines &expected, const Lines &got) {
    const size_t width = got.size() + 1;
    std::vector<size_t> lengths((expected.size() + 1) * width, 0);
    for (size_t i = expected.size(); i-- > 0;)
        for (size_t j = got.size(); j-- > 0;)
            lengths[i * width + j] = expected[i] == got[j]
                                         ? lengths[(i + 1) * width + j + 1] + 1
                                         : std::max(lengths[(i + 1) * width + j], lengths[i * width + j + 1]);
    return lengths;
}

std::string row(const std::string &left, const std::string &right, size_t width) {
    const char mark = left == right ? ' ' : '*';
    if (left.size() <= width)
        return fmt::format("{} {:<{}} | {}\n", mark, left, width, right);
    return fmt::format("{} {}\n{} {:<{}} | {}\n", mark, left, mark, "", width, right);
}

}  // namespace

std::string log_diff(const Lines &expected, const Lines &got) {
    size_t width = narrowest_column;
    for (const std::string &line : expected)
        width = std::max(width, std::min(line.size(), widest_column));

    const bool is_aligned = std::max(expected.size(), got.size()) <= longest_aligned;
    const std::vector<size_t> lengths = is_aligned ? common_lengths(expected, got) : std::vector<size_t>();
    const auto common = [&](size_t i, size_t j) { return lengths[i * (got.size() + 1) + j]; };

    std::string out = fmt::format("  {:<{}} | got\n", "expected", width);
    size_t rows = 0;
    size_t i = 0;
    size_t j = 0;
    while ((i < expected.size() || j < got.size()) && rows++ < most_log_rows) {
        const bool has_left = i < expected.size();
        const bool has_right = j < got.size();
        bool takes_left = has_left;
        bool takes_right = has_right;
        if (has_left && has_right && is_aligned && expected[i] != got[j]) {
            // A message that comes again further on in the other log waits for it there.
            takes_left = common(i + 1, j) == common(i, j);
            takes_right = common(i, j + 1) == common(i, j);
            if (takes_left && takes_right)
                takes_left = takes_right = common(i + 1, j + 1) == common(i, j);
            if (!takes_left && !takes_right)
                takes_left = true;
        }
        out += row(takes_left ? expected[i] : "", takes_right ? got[j] : "", width);
        i += takes_left ? 1 : 0;
        j += takes_right ? 1 : 0;
    }
    if (i < expected.size() || j < got.size())
        out += fmt::format("  ... ({} and {} messages)\n", expected.size(), got.size());
    return out;
}

}  // namespace conformance
