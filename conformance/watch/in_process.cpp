#include "conformance/watch/in_process.h"

namespace conformance {

namespace {

bool in_process = false;

}  // namespace

void let_tests_run_in_process() { in_process = true; }
bool tests_run_in_process() { return in_process; }

}  // namespace conformance
