// What the results of a run amount to.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "conformance/report/outcome.h"
#include "conformance/report/requirements.h"

namespace conformance {

struct LevelCount {
    unsigned passed = 0;  // or warned
    unsigned ran = 0;
    unsigned all = 0;  // tests of this level, chosen or not
};

struct Verdict {
    unsigned failures = 0;
    unsigned known = 0;                          // that fail as the profile says
    std::array<LevelCount, level_count> levels;  // levels[0] is level 1
    // The highest level that is passed whole, with those below it: every test of them ran, and none failed or was skipped.
    unsigned level = 0;
};

Verdict verdict_of(const std::vector<TestResult> &results);

// "level 4 of 5".
std::string level_text(const Verdict &verdict);

}  // namespace conformance
