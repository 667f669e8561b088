// Which elements of two sequences go together.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

// Pairs of indices (into a, into b) of equal elements, ascending in both: as many as possible where the sequences differ
// in few places; where they differ in more than `most` places, what comes behind is paired place by place.
std::vector<std::pair<size_t, size_t>> matching_elements(const std::vector<uint64_t> &a, const std::vector<uint64_t> &b,
                                                         size_t most = 1000);
