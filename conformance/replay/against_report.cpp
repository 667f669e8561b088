#include "conformance/replay/against_report.h"

#include <fmt/format.h>

#include <algorithm>

#include "conformance/report/requirements.h"
#include "conformance/report/test_case.h"

namespace conformance {

namespace {

constexpr size_t most_shown = 6;  // differences of one test

std::string end_text(const TestResult &result) {
    return result.outcome == Outcome::crash || result.outcome == Outcome::timeout ? result.reason : "";
}

}  // namespace

std::string test_difference_text(const std::string &test, const TestDifference &difference, const std::string &end,
                                 const SideNames &names) {
    const size_t width = std::max(names.first.size(), names.second.size());
    std::string out = fmt::format("  {}\n", test);
    if (!end.empty())
        out += fmt::format("    {}\n", end);
    const auto &all = difference.differences;
    const std::string *call = nullptr;
    for (size_t i = 0; i < std::min(all.size(), most_shown); ++i) {
        if (!all[i].call.empty() && (call == nullptr || *call != all[i].call))
            out += fmt::format("    {}\n", all[i].call);
        call = &all[i].call;
        out += fmt::format("      {}\n        {:<{}}  {}\n        {:<{}}  {}\n", all[i].what, names.first, width,
                           all[i].first, names.second, width, all[i].second);
    }
    if (all.size() > most_shown)
        out += fmt::format("    and {} more differences\n", all.size() - most_shown);
    return out;
}

bool ComparedTest::differs() const {
    return !difference.differences.empty() || end_text(first).empty() != end_text(second).empty();
}

std::string against_text(const std::vector<ComparedTest> &tests, const SideNames &names) {
    std::string out;
    for (const Requirement &requirement : all_requirements()) {
        std::string group;
        for (const ComparedTest &one : tests) {
            if (!one.differs() || requirements_of(*one.first.test).front() != &requirement)
                continue;
            std::string end;
            for (const auto &[name, text] :
                 {std::pair{names.first, end_text(one.first)}, {names.second, end_text(one.second)}})
                if (!text.empty())
                    end += fmt::format("{}{}: {}", end.empty() ? "" : "; ", name, text);
            group += test_difference_text(one.first.test->id, one.difference, end, names);
        }
        if (!group.empty())
            out += fmt::format("{} ({})\n{}", requirement.sentence, requirement.id, group);
    }
    const auto differing =
        std::count_if(tests.begin(), tests.end(), [](const ComparedTest &one) { return one.differs(); });
    unsigned long same = 0;
    for (const ComparedTest &one : tests)
        same += one.difference.same;
    return out +
           fmt::format("{} tests through both, {} differ; {} calls are the same.\n", tests.size(), differing, same);
}

}  // namespace conformance
