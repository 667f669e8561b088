// What a run and its tests take for granted: set here where it can be set, told where it cannot.
#pragma once

#include <string>

namespace conformance {

// Once, before anything else: standard descriptors are there, children can be waited for.
void prepare_program();

// Paths of the tests stand in configuration files, which hold no white space and end a value at ';', and need room there.
// Takes an unfitting TMPDIR out of the environment, so that /tmp is used, and tells why; "" when nothing was done.
std::string leave_unfitting_temporary_directory();

// Throws std::runtime_error when tests cannot work below the directory: programs are not run there, or links not made.
void expect_fit_for_tests(const std::string &directory);

// In each test's process: umask 022, no signal ignored or held back, soft limits raised as far as they go.
void prepare_test_process();

}  // namespace conformance
