// What --keep leaves of the tests that failed: the directory of each as it was, and what was found.
#pragma once

#include <string>

#include "conformance/report/outcome.h"

namespace conformance {

// Makes the directory when it is missing. Throws std::runtime_error, naming the option, when that fails or something is in it.
void make_empty_directory(const std::string &path, const char *option);

// Where a test's directory is kept: below keep, named by the test, and by the round from the second on.
std::string kept_directory(const std::string &keep, const std::string &test_id, unsigned round);

// Copies the test's directory there, links as links, unless that was done before. What cannot be copied is left out.
void keep_directory(const std::string &directory, const std::string &kept);

// Puts text into finding.txt there. Throws std::runtime_error.
void keep_finding(const std::string &kept, const std::string &text);

}  // namespace conformance
