// Two plug-ins, or one then and now: what one does and the other does not, for people.
#pragma once

#include <string>
#include <vector>

#include "conformance/replay/test_difference.h"
#include "conformance/report/outcome.h"

namespace conformance {

struct SideNames {
    std::string first;
    std::string second;
};

// One test. end: how the second side ended before its time, "" when it did not.
std::string test_difference_text(const std::string &test, const TestDifference &difference, const std::string &end,
                                 const SideNames &names);

struct ComparedTest {
    TestResult first;
    TestResult second;
    TestDifference difference;

    // Also where one of them did not come to the end.
    bool differs() const;
};

// All that differ, by requirement, and a last line.
std::string against_text(const std::vector<ComparedTest> &tests, const SideNames &names);

}  // namespace conformance
