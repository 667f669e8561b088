// Runs tests side by side, each in its own process.
#pragma once

#include <functional>
#include <vector>

#include "conformance/run/test_process.h"

namespace conformance {

struct RunPlan {
    std::vector<const TestCase *> tests;
    unsigned repeat = 1;
    unsigned jobs = 1;
};

// True once the user wants to stop: no more tests are started, the running ones are ended.
using StopQuestion = std::function<bool()>;

// Told of each result as it comes; what it changes in it stays.
using OnResult = std::function<void(TestResult &)>;

// By round and id.
std::vector<TestResult> in_order(std::vector<TestResult> results);

// Results in the order of the plan, however the tests finished; tests not run when stopped are left out.
std::vector<TestResult> run_tests(const RunPlan &plan, const TestSettings &settings, const OnResult &on_result,
                                  const StopQuestion &stopped);

}  // namespace conformance
