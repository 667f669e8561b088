// Two logs side by side.
#pragma once

#include <string>
#include <vector>

namespace conformance {

// One row for each message, those that are in both logs in the same order beside each other; rows that differ begin with '*'.
std::string log_diff(const std::vector<std::string> &expected, const std::vector<std::string> &got);

}  // namespace conformance
