// Whether tests run in the suite's own process, one after another, instead of each in one of its own.
#pragma once

namespace conformance {

void let_tests_run_in_process();
bool tests_run_in_process();

}  // namespace conformance
