// The results as JUnit XML, as build servers read it.
#pragma once

#include <string>
#include <vector>

#include "conformance/report/outcome.h"
#include "conformance/report/run_facts.h"

namespace conformance {

std::string junit_text(const std::vector<TestResult> &results, const RunFacts &facts);

}  // namespace conformance
