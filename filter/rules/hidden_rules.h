// Rules that never act, because an earlier one always answers in place of the call, or lets it never go on.
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "filter/rules/rule.h"

namespace filter {

// The first rule that always hides this one, by its place in the list; nothing when there is none.
std::optional<size_t> hidden_by(const std::vector<Rule> &rules, size_t rule);

}  // namespace filter
