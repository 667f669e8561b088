// One test in a process of its own: its private directory, the plug-in, the body, the clean-up, the checks afterwards.
#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "conformance/report/outcome.h"
#include "conformance/report/test_case.h"
#include "conformance/run/child_process.h"
#include "conformance/run/fork_side.h"

namespace conformance {

struct TestSettings {
    std::string plugin;     // absolute path
    std::string directory;  // below it each test gets its own
    std::chrono::milliseconds time_limit{30000};
    bool real_config = false;
    ForkSide fork_side = ForkSide::none;
    std::string keep;  // where directories of failing tests are kept, absolute; "" for nowhere
};

class TestProcess {
public:
    TestProcess(const TestCase &test, unsigned round, const TestSettings &settings);
    ~TestProcess();
    TestProcess(const TestProcess &) = delete;
    TestProcess &operator=(const TestProcess &) = delete;

    ChildProcess &child() { return *child_; }

    // After the child has been finished.
    TestResult result() const;

private:
    const TestCase &test_;
    unsigned round_;
    std::string directory_;
    std::string kept_;     // "" when nothing is kept
    UnnamedFile journal_;  // paths of what must go even when the process dies
    std::unique_ptr<ChildProcess> child_;
};

// Why the library cannot be tested at all; empty when it can.
std::string why_not_testable(const TestSettings &settings);

}  // namespace conformance
