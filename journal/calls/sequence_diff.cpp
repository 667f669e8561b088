#include "journal/calls/sequence_diff.h"

#include <algorithm>

namespace {

// The part of the two sequences between their common beginning and end.
struct Middle {
    const std::vector<uint64_t> &a;
    const std::vector<uint64_t> &b;
    size_t begin;  // in both
    size_t a_size;
    size_t b_size;

    bool equal(size_t x, size_t y) const { return a[begin + x] == b[begin + y]; }
};

using Pairs = std::vector<std::pair<size_t, size_t>>;

void pair_place_by_place(const Middle &middle, Pairs &pairs) {
    for (size_t i = 0; i < std::min(middle.a_size, middle.b_size); ++i)
        if (middle.equal(i, i))
            pairs.emplace_back(middle.begin + i, middle.begin + i);
}

// Furthest points reached with d differences, by diagonal (Myers' algorithm), kept for the way back.
class EditPath {
public:
    EditPath(const Middle &middle, size_t most)
        : middle_(middle), most_(static_cast<ptrdiff_t>(std::min(most, middle.a_size + middle.b_size))) {}

    bool find(Pairs &pairs) {
        const auto n = static_cast<ptrdiff_t>(middle_.a_size);
        const auto m = static_cast<ptrdiff_t>(middle_.b_size);
        std::vector<ptrdiff_t> reached(static_cast<size_t>(2 * most_ + 3), 0);
        for (ptrdiff_t d = 0; d <= most_; ++d) {
            history_.emplace_back(reached.begin() + (most_ + 1 - d), reached.begin() + (most_ + 2 + d));
            for (ptrdiff_t k = -d; k <= d; k += 2) {
                ptrdiff_t *here = &reached[static_cast<size_t>(k + most_ + 1)];
                ptrdiff_t x = k == -d || (k != d && here[-1] < here[1]) ? here[1] : here[-1] + 1;
                while (x < n && x - k < m && middle_.equal(static_cast<size_t>(x), static_cast<size_t>(x - k)))
                    ++x;
                *here = x;
                if (x >= n && x - k >= m) {
                    go_back(d, pairs);
                    return true;
                }
            }
        }
        return false;
    }

private:
    // What was reached on a diagonal with fewer than d differences.
    ptrdiff_t before(ptrdiff_t d, ptrdiff_t k) const {
        const std::vector<ptrdiff_t> &row = history_[static_cast<size_t>(d)];
        const ptrdiff_t index = k + d;
        return index >= 0 && index < static_cast<ptrdiff_t>(row.size()) ? row[static_cast<size_t>(index)] : -1;
    }

    void go_back(ptrdiff_t d, Pairs &pairs) const {
        auto x = static_cast<ptrdiff_t>(middle_.a_size);
        auto y = static_cast<ptrdiff_t>(middle_.b_size);
        for (; d >= 0; --d) {
            const ptrdiff_t k = x - y;
            const bool down = d > 0 && (k == -d || (k != d && before(d, k - 1) < before(d, k + 1)));
            const ptrdiff_t from_k = d == 0 ? k : (down ? k + 1 : k - 1);
            const ptrdiff_t from_x = d == 0 ? 0 : before(d, from_k);
            const ptrdiff_t snake_x = d == 0 ? 0 : (down ? from_x : from_x + 1);
            while (x > snake_x) {
                --x;
                --y;
                pairs.emplace_back(middle_.begin + static_cast<size_t>(x), middle_.begin + static_cast<size_t>(y));
            }
            if (d > 0) {
                x = from_x;
                y = from_x - from_k;
            }
        }
        std::reverse(pairs.begin(), pairs.end());
    }

    const Middle &middle_;
    ptrdiff_t most_;
    std::vector<std::vector<ptrdiff_t>> history_;
};

}  // namespace

std::vector<std::pair<size_t, size_t>> matching_elements(const std::vector<uint64_t> &a, const std::vector<uint64_t> &b,
                                                         size_t most) {
    const size_t shorter = std::min(a.size(), b.size());
    size_t begin = 0;
    while (begin < shorter && a[begin] == b[begin])
        ++begin;
    size_t end = 0;
    while (end < shorter - begin && a[a.size() - 1 - end] == b[b.size() - 1 - end])
        ++end;

    Pairs pairs;
    for (size_t i = 0; i < begin; ++i)
        pairs.emplace_back(i, i);
    const Middle middle = {a, b, begin, a.size() - begin - end, b.size() - begin - end};
    Pairs inner;
    if (!EditPath(middle, most).find(inner))
        pair_place_by_place(middle, inner);
    pairs.insert(pairs.end(), inner.begin(), inner.end());
    for (size_t i = end; i > 0; --i)
        pairs.emplace_back(a.size() - i, b.size() - i);
    return pairs;
}
