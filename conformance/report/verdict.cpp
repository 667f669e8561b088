#include "conformance/report/verdict.h"

#include <fmt/format.h>

#include <map>

namespace conformance {

Verdict verdict_of(const std::vector<TestResult> &results) {
    Verdict verdict;
    std::map<const TestCase *, bool> passed;
    for (const TestResult &result : results) {
        verdict.failures += is_failure(result.outcome) ? 1U : 0U;
        verdict.known += result.outcome == Outcome::known ? 1U : 0U;
        const bool passes = result.outcome == Outcome::pass || result.outcome == Outcome::warn;
        const auto [test, is_first] = passed.emplace(result.test, passes);
        test->second = test->second && passes;
    }
    for (const TestCase &test : all_tests()) {
        LevelCount &count = verdict.levels[level_of(test) - 1];
        ++count.all;
        const auto found = passed.find(&test);
        if (found == passed.end())
            continue;
        ++count.ran;
        count.passed += found->second ? 1U : 0U;
    }
    for (const LevelCount &count : verdict.levels) {
        if (count.passed != count.all)
            break;
        ++verdict.level;
    }
    return verdict;
}

std::string level_text(const Verdict &verdict) { return fmt::format("level {} of {}", verdict.level, level_count); }

}  // namespace conformance
