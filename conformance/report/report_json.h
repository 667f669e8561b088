// The results as JSON.
#pragma once

#include <string>
#include <vector>

#include "conformance/report/outcome.h"

namespace conformance {

// {"plugin", "seconds", "counts": {outcome: number}, "tests": [{"id", "demand", "round", "outcome", "seconds", "reason",
// "findings": [...], "standard_error"}]}
std::string json_text(const std::vector<TestResult> &results, const std::string &plugin, double seconds);

}  // namespace conformance
