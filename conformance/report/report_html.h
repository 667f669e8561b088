// The results as one page: verdict, levels, areas, what was found, and requirements and tests in both directions.
#pragma once

#include <string>
#include <vector>

#include "conformance/report/run_facts.h"
#include "conformance/report/verdict.h"

namespace conformance {

// Needs nothing but itself to be shown.
std::string html_text(const std::vector<TestResult> &results, const RunFacts &facts);

}  // namespace conformance
