// Runs tests one after another in this process, for debuggers.
//
// Not guarded then: a crash, an exit or a call that does not return ends or stops the whole run, what a test leaves in the
// process is there for the next one, no time limit holds, and what a library does when a process ends is not looked at.
#pragma once

#include "conformance/run/runner.h"

namespace conformance {

// What people are told before: the above.
extern const char *const not_guarded_in_process;

// As run_tests, whatever the plan's number of jobs.
std::vector<TestResult> run_tests_in_process(const RunPlan &plan, const TestSettings &settings,
                                             const OnResult &on_result, const StopQuestion &stopped);

}  // namespace conformance
