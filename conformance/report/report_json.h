// The results as JSON.
#pragma once

#include <string>
#include <vector>

#include "conformance/report/outcome.h"
#include "conformance/report/run_facts.h"

namespace conformance {

// {"plugin", "plugin_hash", "suite_version", "interface_versions", "seed", "kernel", "level", "seconds", "counts": {outcome: number}, "tests": [{"id", "demand", "requirements", "level", "round", "outcome", "seconds", "reason",
// "findings": [...], "standard_error"}]}
std::string json_text(const std::vector<TestResult> &results, const RunFacts &facts);

}  // namespace conformance
