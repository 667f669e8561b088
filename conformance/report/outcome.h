// What came of one test.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "conformance/report/configuration_text.h"

namespace conformance {

// From good to bad. known: it fails, as the profile says.
enum class Outcome { pass, warn, skip, known, fail, crash, timeout };
constexpr size_t outcome_count = 7;

// "pass", "warn", ... as the reports print it.
const char *outcome_name(Outcome outcome);

// True for the outcomes that make the whole run a failure.
bool is_failure(Outcome outcome);

// One difference between what the interface demands and what came. All texts are printable.
struct Finding {
    bool warning = false;  // the interface leaves a choice here
    std::string called;    // the last call before the difference, with its arguments
    std::string what;      // the thing that was looked at
    std::string expected;
    std::string got;
    std::string detail;  // more lines, a hex diff for instance
    // What people are shown of lists that are too long to be read; empty when they are not.
    std::string expected_excerpt;
    std::string got_excerpt;
    unsigned times = 1;                // so often was the same found, whatever the addresses in called
    ConfigurationTexts configuration;  // the files as they were then
    std::vector<std::string> earlier;  // calls before called, oldest first

    const std::string &shown_expected() const { return expected_excerpt.empty() ? expected : expected_excerpt; }
    const std::string &shown_got() const { return got_excerpt.empty() ? got : got_excerpt; }
};

struct TestCase;

struct TestResult {
    const TestCase *test = nullptr;
    unsigned round = 1;
    Outcome outcome = Outcome::pass;
    double seconds = 0;
    std::string reason;                // of a skip, a crash, a time-out, or what the profile says
    std::vector<Finding> findings;     // of a failure or a warning
    ConfigurationTexts configuration;  // as a crash or a time-out left the files
    std::string error_output;          // the tail of what the test's process wrote to standard error
};

}  // namespace conformance
