#include "conformance/report/report_text.h"

#include <fmt/format.h>

#include <array>
#include <map>
#include <sstream>

#include "conformance/report/test_case.h"

namespace conformance {

namespace {

constexpr size_t outcome_count = 6;
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
         {Outcome::pass, Outcome::warn, Outcome::skip, Outcome::fail, Outcome::crash, Outcome::timeout})
        if (const unsigned count = counts[static_cast<size_t>(outcome)]; count != 0)
            out += fmt::format("{}{} {}", out.empty() ? "" : ", ", count, outcome_name(outcome));
    return out;
}

}  // namespace

std::string result_text(const TestResult &result, const std::string &program, const std::string &plugin) {
    std::string out =
        fmt::format("{:<8}{:<60} {:6.2f} s\n", outcome_name(result.outcome), result.test->id, result.seconds);
    if (result.outcome == Outcome::pass)
        return out;
    if (result.outcome == Outcome::skip)
        return out + fmt::format("    because   {}\n", result.reason);
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

std::string summary_text(const std::vector<TestResult> &results, double seconds) {
    std::map<std::string, Counts> areas;
    Counts total{};
    for (const TestResult &result : results) {
        ++areas[result.test->id.substr(0, result.test->id.find('.'))][static_cast<size_t>(result.outcome)];
        ++total[static_cast<size_t>(result.outcome)];
    }
    std::string out = "\n";
    for (const auto &[area, counts] : areas)
        out += fmt::format("{:<20} {}\n", area, count_text(counts));
    unsigned failures = 0;
    for (const TestResult &result : results)
        failures += is_failure(result.outcome) ? 1U : 0U;
    return out + fmt::format("\n{} tests in {:.1f} s: {}\n{}\n", results.size(), seconds, count_text(total),
                             failures == 0 ? "The plug-in conforms." : "The plug-in does not conform.");
}

}  // namespace conformance
