// A test in the process that calls this: the plug-in is loaded, the body runs, what it made is undone, and nothing may be
// left. What was found goes into a report, which survives the process.
#pragma once

#include <chrono>
#include <string>

#include "conformance/report/outcome.h"
#include "conformance/report/test_case.h"
#include "conformance/run/fork_side.h"

namespace conformance {

struct TestSettings {
    std::string plugin;     // absolute path
    std::string directory;  // below it each test gets its own
    std::chrono::milliseconds time_limit{30000};
    bool real_config = false;
    ForkSide fork_side = ForkSide::none;
    std::string keep;          // where directories of failing tests are kept, absolute; "" for nowhere
    std::string record;        // where journals of failing tests are kept, absolute; "" for nowhere
    bool records_all = false;  // those of tests that pass, too
};

// Where one test works.
struct TestPlace {
    // Makes the directories.
    TestPlace(const TestCase &test, unsigned round, const TestSettings &settings);

    std::string directory;  // with etc/ for configuration files, work/ as working directory, record/ for the journal
    std::string kept;       // "" when nothing is kept
    std::string recorded;   // "" when no journal is kept
};

// made: a file that receives the paths of what must go even when the process dies. report: a file, see read_report. Changes
// the working directory.
void run_test_here(const TestCase &test, const TestSettings &settings, const TestPlace &place, int made, int report);

// Puts what was reported into the result: findings, the reason of a skip. True when one of the findings is no warning.
bool read_report(const std::string &report, TestResult &result);

// From what was reported, for a process that came to its end.
Outcome outcome_of(const TestResult &result, bool has_failed);

// The configuration files that a test left.
ConfigurationTexts configuration_left(const TestPlace &place);

// Removes what is named in `made`, newest first, and the test's directory. Before that the journal goes where it is kept, when
// the outcome calls for it.
void clear_place(const TestPlace &place, const std::string &made);
void keep_what_is_asked_for(const TestPlace &place, const TestSettings &settings, Outcome outcome);

}  // namespace conformance
