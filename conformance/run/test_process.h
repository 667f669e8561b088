// One test in a process of its own: its private directory, the plug-in, the body, the clean-up, the checks afterwards.
#pragma once

#include <memory>
#include <string>

#include "conformance/report/outcome.h"
#include "conformance/report/test_case.h"
#include "conformance/run/child_process.h"
#include "conformance/run/test_body.h"

namespace conformance {

class TestProcess {
public:
    // The settings outlive this object.
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
    const TestSettings &settings_;
    TestPlace place_;
    UnnamedFile made_;  // paths of what must go even when the process dies
    std::unique_ptr<ChildProcess> child_;
};

// Why the library cannot be tested at all; empty when it can.
std::string why_not_testable(const TestSettings &settings);

}  // namespace conformance
