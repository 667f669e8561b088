#include "conformance/report/report_text.h"

#include <fmt/format.h>

#include <array>
#include <map>
#include <sstream>

#include "conformance/report/requirements.h"
#include "conformance/report/test_case.h"
#include "conformance/report/verdict.h"

namespace conformance {

namespace {

using Counts = std::array<unsigned, outcome_count>;

std::string indented(const std::string &text, const std::string &margin) {
    std::string out;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        out += margin + line + "\n";
    return out;
}

std::string finding_text(const Finding &finding, const Finding *previous) {
    std::string out;
    // Where it is the same as the finding's above, it stands there.
    if (!finding.configuration.empty() && (previous == nullptr || !(finding.configuration == previous->configuration)))
        out += "    files\n" + indented(shown_configuration(finding.configuration), "      ");
    // Where the finding above was about the same call, they stand there.
    if (previous == nullptr || previous->called != finding.called)
        for (const std::string &call : finding.earlier)
            out += fmt::format("    before    {}\n", call);
    if (!finding.called.empty())
        out += fmt::format("    called    {}\n", finding.called);
    out += fmt::format("    {:<9} {}\n", finding.warning ? "choice" : "checked", finding.what);
    out += fmt::format("    {:<9} {}\n", finding.warning ? "usual" : "expected", finding.shown_expected());
    out += fmt::format("    got       {}\n", finding.shown_got());
    if (!finding.detail.empty())
        out += indented(finding.detail, "      ");
    if (finding.times > 1)
        out += fmt::format("    times     {}\n", finding.times);
    return out;
}

std::string count_text(const Counts &counts) {
    std::string out;
    for (const Outcome outcome :
         {Outcome::pass, Outcome::warn, Outcome::skip, Outcome::known, Outcome::fail, Outcome::crash, Outcome::timeout})
        if (const unsigned count = counts[static_cast<size_t>(outcome)]; count != 0)
            out += fmt::format("{}{} {}", out.empty() ? "" : ", ", count, outcome_name(outcome));
    return out;
}

// Of a level of which tests were left out nothing is said, nor of those above it.
std::string level_lines(const Verdict &verdict) {
    std::string out;
    for (unsigned level = 1; level <= level_count; ++level) {
        const LevelCount &count = verdict.levels[level - 1];
        if (count.ran != count.all)
            break;
        out += fmt::format("level {}: {} of {}, {}\n", level, count.passed, count.all, level_name(level));
    }
    return out.empty() ? out : out + fmt::format("Passed whole: {}.\n", level_text(verdict));
}

}  // namespace

std::string result_text(const TestResult &result, const std::string &program, const std::string &plugin) {
    std::string out =
        fmt::format("{:<8}{:<60} {:6.2f} s\n", outcome_name(result.outcome), result.test->id, result.seconds);
    if (result.outcome == Outcome::pass)
        return out;
    if (result.outcome == Outcome::skip)
        return out + fmt::format("    because   {}\n", result.reason);
    for (const Requirement *requirement : requirements_of(*result.test))
        out += fmt::format("    requires  {} ({})\n", requirement->sentence, requirement->id);
    out += fmt::format("    demands   {}\n", result.test->demand);
    if (!result.reason.empty())
        out += fmt::format("    came      {}\n", result.reason);
    if (!result.configuration.empty())
        out += "    files\n" + indented(shown_configuration(result.configuration), "      ");
    const Finding *previous = nullptr;
    for (const Finding &finding : result.findings) {
        out += finding_text(finding, previous);
        previous = &finding;
    }
    if (!result.error_output.empty())
        out += "    standard error\n" + indented(result.error_output, "      ");
    return out + fmt::format("    alone     {} {} --filter {}\n", program, plugin, result.test->id);
}

std::string summary_text(const std::vector<TestResult> &results, const RunFacts &facts) {
    std::map<std::string, Counts> areas;
    Counts total{};
    for (const TestResult &result : results) {
        ++areas[result.test->id.substr(0, result.test->id.find('.'))][static_cast<size_t>(result.outcome)];
        ++total[static_cast<size_t>(result.outcome)];
    }
    std::string out = "\n";
    for (const auto &[area, counts] : areas)
        out += fmt::format("{:<20} {}\n", area, count_text(counts));
    const Verdict verdict = verdict_of(results);
    out += fmt::format("\n{} tests in {:.1f} s: {}\n", results.size(), facts.seconds, count_text(total));
    out += fmt::format("stspi-conformance {}, interface {}, seed {}, {}\nplug-in {}\n", facts.suite_version,
                       interface_versions, seed_text, facts.kernel, facts.plugin_hash);
    return out + level_lines(verdict) +
           (verdict.failures != 0 ? "The plug-in does not conform.\n"
            : verdict.known != 0  ? "Nothing failed but what the profile lists. The plug-in does not conform.\n"
                                  : "The plug-in conforms.\n");
}

}  // namespace conformance
