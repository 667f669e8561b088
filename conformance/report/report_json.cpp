#include "conformance/report/report_json.h"

#include <nlohmann/json.hpp>

#include "conformance/report/requirements.h"
#include "conformance/report/test_case.h"
#include "conformance/report/verdict.h"

namespace conformance {

using nlohmann::ordered_json;

std::string json_text(const std::vector<TestResult> &results, const RunFacts &facts) {
    ordered_json counts = ordered_json::object();
    ordered_json tests = ordered_json::array();
    for (const Outcome outcome :
         {Outcome::pass, Outcome::warn, Outcome::skip, Outcome::known, Outcome::fail, Outcome::crash, Outcome::timeout})
        counts[outcome_name(outcome)] = 0;
    for (const TestResult &result : results) {
        counts[outcome_name(result.outcome)] = counts[outcome_name(result.outcome)].get<unsigned>() + 1;
        ordered_json findings = ordered_json::array();
        for (const Finding &finding : result.findings) {
            ordered_json files = ordered_json::object();
            for (const auto &[file_name, text] : finding.configuration)
                files[file_name] = text;
            findings.push_back({{"warning", finding.warning},
                                {"called", finding.called},
                                {"checked", finding.what},
                                {"expected", finding.expected},
                                {"got", finding.got},
                                {"detail", finding.detail},
                                {"earlier", finding.earlier},
                                {"times", finding.times},
                                {"configuration", files}});
        }
        ordered_json requirements = ordered_json::array();
        for (const Requirement *requirement : requirements_of(*result.test))
            requirements.push_back(requirement->id);
        tests.push_back({{"id", result.test->id},
                         {"demand", result.test->demand},
                         {"requirements", requirements},
                         {"level", level_of(*result.test)},
                         {"round", result.round},
                         {"outcome", outcome_name(result.outcome)},
                         {"seconds", result.seconds},
                         {"reason", result.reason},
                         {"findings", findings},
                         {"standard_error", result.error_output}});
    }
    const ordered_json report = {{"plugin", facts.plugin},
                                 {"plugin_hash", facts.plugin_hash},
                                 {"suite_version", facts.suite_version},
                                 {"interface_versions", interface_versions},
                                 {"seed", seed_text},
                                 {"kernel", facts.kernel},
                                 {"level", verdict_of(results).level},
                                 {"seconds", facts.seconds},
                                 {"counts", counts},
                                 {"tests", tests}};
    return report.dump(2, ' ', true, ordered_json::error_handler_t::replace) + "\n";
}

}  // namespace conformance
