#include "conformance/report/report_junit.h"

#include <fmt/format.h>

#include <utility>

#include "base/entities.h"
#include "conformance/report/test_case.h"
#include "conformance/report/verdict.h"

namespace conformance {

namespace {

std::string escaped_for_xml(const std::string &text) {
    std::string out;
    for (const char character : text)
        if (character == '\n')
            out += "&#10;";
        else
            // Other control bytes have no place in XML, and bytes of unknown encoding none in a UTF-8 file.
            out += character >= 0x20 && character < 0x7f ? with_entities({&character, 1}, "\"") : "?";
    return out;
}

std::string details(const TestResult &result) {
    std::string out = result.reason;
    ConfigurationTexts files;
    for (const Finding &finding : result.findings) {
        out += fmt::format("{}called {}: {}: expected {}, got {}{}\n{}", out.empty() ? "" : "\n", finding.called,
                           finding.what, finding.shown_expected(), finding.shown_got(),
                           finding.times > 1 ? fmt::format(" ({} times)", finding.times) : "", finding.detail);
        if (!(finding.configuration == files))
            out += "\nfiles:\n" + shown_configuration(finding.configuration);
        files = finding.configuration;
    }
    if (!result.configuration.empty())
        out += "\nfiles:\n" + shown_configuration(result.configuration);
    if (!result.error_output.empty())
        out += "\nstandard error:\n" + result.error_output;
    return out;
}

}  // namespace

std::string junit_text(const std::vector<TestResult> &results, const RunFacts &facts) {
    std::string cases;
    unsigned failures = 0;
    unsigned errors = 0;
    unsigned skipped = 0;
    for (const TestResult &result : results) {
        const size_t dot = result.test->id.find('.');
        std::string inner;
        switch (result.outcome) {
            case Outcome::pass:
                break;
            case Outcome::skip:
                ++skipped;
                inner = fmt::format("<skipped message=\"{}\"/>", escaped_for_xml(result.reason));
                break;
            case Outcome::known:
                ++skipped;
                inner = fmt::format("<skipped message=\"{}\"/><system-out>{}</system-out>",
                                    escaped_for_xml(result.reason), escaped_for_xml(details(result)));
                break;
            case Outcome::warn:
                inner = fmt::format("<system-out>{}</system-out>", escaped_for_xml(details(result)));
                break;
            case Outcome::fail:
                ++failures;
                inner = fmt::format("<failure message=\"{}\">{}</failure>", escaped_for_xml(result.test->demand),
                                    escaped_for_xml(details(result)));
                break;
            case Outcome::crash:
            case Outcome::timeout:
                ++errors;
                inner = fmt::format("<error type=\"{}\" message=\"{}\">{}</error>", outcome_name(result.outcome),
                                    escaped_for_xml(result.test->demand), escaped_for_xml(details(result)));
                break;
        }
        cases += fmt::format("    <testcase classname=\"{}\" name=\"{}\" time=\"{:.3f}\">{}</testcase>\n",
                             escaped_for_xml(result.test->id.substr(0, dot)), escaped_for_xml(result.test->id),
                             result.seconds, inner);
    }
    std::string properties;
    const std::pair<const char *, std::string> all[] = {{"plugin_hash", facts.plugin_hash},
                                                        {"suite_version", facts.suite_version},
                                                        {"interface_versions", interface_versions},
                                                        {"seed", seed_text},
                                                        {"kernel", facts.kernel},
                                                        {"level", fmt::format("{}", verdict_of(results).level)}};
    for (const auto &[name, value] : all)
        properties += fmt::format("      <property name=\"{}\" value=\"{}\"/>\n", name, escaped_for_xml(value));
    return fmt::format(
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>\n"
        "  <testsuite name=\"stspi-conformance {}\" tests=\"{}\" failures=\"{}\" errors=\"{}\" skipped=\"{}\" "
        "time=\"{:.3f}\">\n    <properties>\n{}    </properties>\n{}  </testsuite>\n</testsuites>\n",
        escaped_for_xml(facts.plugin), results.size(), failures, errors, skipped, facts.seconds, properties, cases);
}

}  // namespace conformance
