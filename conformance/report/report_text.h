// The report for people.
#pragma once

#include <string>
#include <vector>

#include "conformance/report/outcome.h"

namespace conformance {

// One line for a test, and what was found about it below; ends with the line that runs this test alone.
std::string result_text(const TestResult &result, const std::string &program, const std::string &plugin);

// How many tests of each area came to which outcome, and the verdict.
std::string summary_text(const std::vector<TestResult> &results, double seconds);

}  // namespace conformance
