// The report for people.
#pragma once

#include <string>
#include <vector>

#include "conformance/report/outcome.h"
#include "conformance/report/run_facts.h"

namespace conformance {

// One line for a test, and what was found about it below; ends with the line that runs this test alone.
std::string result_text(const TestResult &result, const std::string &program, const std::string &plugin);

// How many tests of each area came to which outcome, what the run was of, and the verdict with its level.
std::string summary_text(const std::vector<TestResult> &results, const RunFacts &facts);

}  // namespace conformance
