#include "conformance/report/report_html.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>

#include "base/entities.h"
#include "conformance/report/report_text.h"

namespace conformance {

namespace {

constexpr char style[] =
    "body{font:15px/1.5 sans-serif;margin:2em auto;max-width:75em;padding:0 1em;color:#222;background:#fff}"
    "table{border-collapse:collapse;margin:1em 0}td,th{border:1px solid #bbb;padding:.2em .6em;text-align:left;"
    "vertical-align:top}pre{background:#f4f4f4;padding:.8em;overflow:auto}code{white-space:nowrap}"
    ".pass{color:#060}.warn,.skip,.known{color:#850}.fail,.crash,.timeout{color:#a00;font-weight:bold}";

std::string escaped_for_html(const std::string &text) { return with_entities(text, "\""); }

// By test; of several rounds the worst.
std::map<const TestCase *, Outcome> outcomes_of(const std::vector<TestResult> &results) {
    std::map<const TestCase *, Outcome> outcomes;
    for (const TestResult &result : results) {
        const auto [test, is_first] = outcomes.emplace(result.test, result.outcome);
        test->second = std::max(test->second, result.outcome);
    }
    return outcomes;
}

std::string outcome_cell(const std::map<const TestCase *, Outcome> &outcomes, const TestCase *test) {
    const auto found = outcomes.find(test);
    const char *name = found == outcomes.end() ? "not run" : outcome_name(found->second);
    return fmt::format("<span class=\"{}\">{}</span>", name, name);
}

std::string heading(const Verdict &verdict) {
    if (verdict.failures != 0)
        return fmt::format("{} tests failed", verdict.failures);
    return verdict.known == 0 ? "conforms" : fmt::format("{} tests fail as the profile says", verdict.known);
}

std::string facts_table(const RunFacts &facts) {
    const std::pair<const char *, std::string> rows[] = {{"plug-in", facts.plugin},
                                                         {"its file", facts.plugin_hash},
                                                         {"suite", facts.suite_version},
                                                         {"interface", interface_versions},
                                                         {"seed", seed_text},
                                                         {"kernel", facts.kernel},
                                                         {"time", fmt::format("{:.1f} s", facts.seconds)}};
    std::string out = "<table>\n";
    for (const auto &[name, value] : rows)
        out += fmt::format("<tr><th>{}</th><td>{}</td></tr>\n", name, escaped_for_html(value));
    return out + "</table>\n";
}

std::string level_table(const Verdict &verdict) {
    std::string out =
        "<h2>Levels</h2>\n<table><tr><th>level</th><th></th><th>passed</th><th>run</th><th>tests</th></tr>\n";
    for (unsigned level = 1; level <= level_count; ++level) {
        const LevelCount &count = verdict.levels[level - 1];
        out += fmt::format("<tr><td>{}</td><td>{}</td><td>{}</td><td>{}</td><td>{}</td></tr>\n", level,
                           level_name(level), count.passed, count.ran, count.all);
    }
    return out + "</table>\n";
}

std::string area_table(const std::vector<TestResult> &results) {
    std::map<std::string, std::map<Outcome, unsigned>> areas;
    for (const TestResult &result : results)
        ++areas[result.test->id.substr(0, result.test->id.find('.'))][result.outcome];
    std::string out = "<h2>Areas</h2>\n<table>\n";
    for (const auto &[area, counts] : areas) {
        out += fmt::format("<tr><th>{}</th><td>", escaped_for_html(area));
        for (const auto &[outcome, count] : counts)
            out += fmt::format("<span class=\"{}\">{} {}</span> ", outcome_name(outcome), count, outcome_name(outcome));
        out += "</td></tr>\n";
    }
    return out + "</table>\n";
}

std::string findings_of(const std::vector<TestResult> &results, const std::string &plugin) {
    std::string out;
    for (const TestResult &result : results)
        if (result.outcome != Outcome::pass)
            out += fmt::format("<h3 id=\"{}\">{}</h3>\n<pre>{}</pre>\n", escaped_for_html(result.test->id),
                               escaped_for_html(result.test->id),
                               escaped_for_html(result_text(result, "stspi-conformance", plugin)));
    return "<h2>What was found</h2>\n" + (out.empty() ? "<p>Nothing.</p>\n" : out);
}

std::string requirement_table(const std::map<const TestCase *, Outcome> &outcomes) {
    std::string out = "<h2>Requirements</h2>\n<table><tr><th>id</th><th>level</th><th>demand</th><th>tests</th></tr>\n";
    for (const Requirement &requirement : all_requirements()) {
        std::string tests;
        for (const TestCase *test : requirement.tests)
            tests += fmt::format("<code>{}</code> {}<br>", escaped_for_html(test->id), outcome_cell(outcomes, test));
        out += fmt::format("<tr id=\"{}\"><td><code>{}</code></td><td>{}</td><td>{}</td><td>{}</td></tr>\n",
                           requirement.id, requirement.id, requirement.level, escaped_for_html(requirement.sentence),
                           tests);
    }
    return out + "</table>\n";
}

std::string test_table(const std::map<const TestCase *, Outcome> &outcomes) {
    std::string out = "<h2>Tests</h2>\n<table><tr><th>test</th><th>level</th><th></th><th>requirements</th></tr>\n";
    for (const TestCase &test : all_tests()) {
        std::string links;
        for (const Requirement *requirement : requirements_of(test))
            links += fmt::format("<a href=\"#{}\">{}</a> ", requirement->id, requirement->id);
        out += fmt::format("<tr><td><code>{}</code></td><td>{}</td><td>{}</td><td>{}</td></tr>\n",
                           escaped_for_html(test.id), level_of(test), outcome_cell(outcomes, &test), links);
    }
    return out + "</table>\n";
}

}  // namespace

std::string html_text(const std::vector<TestResult> &results, const RunFacts &facts) {
    const Verdict verdict = verdict_of(results);
    const auto outcomes = outcomes_of(results);
    return fmt::format(
        "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"><title>stspi-conformance: {}</title>\n"
        "<style>{}</style></head><body>\n<h1>{}: {}, {}</h1>\n{}{}{}{}{}{}</body></html>\n",
        escaped_for_html(facts.plugin), style, escaped_for_html(facts.plugin), heading(verdict), level_text(verdict),
        facts_table(facts), level_table(verdict), area_table(results), findings_of(results, facts.plugin),
        requirement_table(outcomes), test_table(outcomes));
}

}  // namespace conformance
