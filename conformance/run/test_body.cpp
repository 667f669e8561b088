#include "conformance/run/test_body.h"

#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>

#include "conformance/calls/call_journal.h"
#include "conformance/calls/configuration.h"
#include "conformance/calls/entry_points.h"
#include "conformance/calls/image_calls.h"
#include "conformance/run/kept_directory.h"
#include "conformance/watch/creations.h"
#include "conformance/watch/expect.h"
#include "conformance/watch/leak_check.h"
#include "conformance/watch/resource_registry.h"
#include "conformance/watch/sanitizers.h"
#include "conformance/watch/standard_output.h"

namespace conformance {

namespace fs = std::filesystem;

namespace {

constexpr char real_config_directory[] = "/etc/quillmere";
constexpr size_t most_findings = 12;  // of one test: the rest is more of the same

void write_report(int report, const std::string &skip_reason) {
    nlohmann::json out = {{"skip", skip_reason}, {"findings", nlohmann::json::array()}};
    for (const Finding &finding : findings()) {
        if (out["findings"].size() == most_findings)
            break;
        auto files = nlohmann::json::array();
        for (const auto &[file_name, file_text] : finding.configuration)
            files.push_back({file_name, file_text});
        out["findings"].push_back({{"warning", finding.warning},
                                   {"called", finding.called},
                                   {"what", finding.what},
                                   {"expected", finding.expected},
                                   {"got", finding.got},
                                   {"detail", finding.detail},
                                   {"expected_excerpt", finding.expected_excerpt},
                                   {"got_excerpt", finding.got_excerpt},
                                   {"times", finding.times},
                                   {"configuration", files},
                                   {"earlier", finding.earlier}});
    }
    const std::string text = out.dump(-1, ' ', true, nlohmann::json::error_handler_t::replace);
    // What was written before may have been longer.
    if (ftruncate(report, 0) != 0 || pwrite(report, text.data(), text.size(), 0) != static_cast<ssize_t>(text.size()))
        std::abort();
}

std::string run_body(const TestCase &test) {
    try {
        note_stage("the test's own code");
        test.body();
    } catch (const StopTest &) {
        // the finding says why
    } catch (const SkipTest &skip) {
        return skip.reason;
    } catch (const std::exception &exception) {
        add_finding("exception", "none", exception.what());
    } catch (...) {
        add_finding("exception", "none", "one of a foreign type");
    }
    return {};
}

bool has_failed() {
    return std::any_of(findings().begin(), findings().end(), [](const Finding &finding) { return !finding.warning; });
}

void make_directory(const std::string &path) {
    fs::create_directories(path);
    // Searchable by others: tests that give up root's rights go on using it.
    chmod(path.c_str(), 0777);
}

}  // namespace

void run_test_here(const TestCase &test, const TestSettings &settings, const TestPlace &place, int made, int report) {
    const std::string &directory = place.directory;
    if (chdir((directory + "/work").c_str()) != 0)
        throw std::runtime_error("the test's directory is gone");
    set_work_directory(directory + "/work");
    use_configuration_directory(settings.real_config ? real_config_directory : directory + "/etc", made);
    watch_creations(directory, made);
    load_image_double();
    if (!place.recorded.empty())
        start_call_journal(directory, settings.plugin);
    std::string skip_reason;
    {
        const LeakCheck leaks(directory + "/work");
        set_plugin(std::make_unique<EntryPoints>(settings.plugin, RTLD_NOW | RTLD_LOCAL));
        go_to_fork_side(settings.fork_side);
        skip_reason = run_body(test);
        // Written twice: a crash in what follows does not lose what was found so far.
        write_report(report, skip_reason);
        note_what_was_made();
        if (!place.kept.empty() && skip_reason.empty() && has_failed())
            keep_directory(directory, place.kept);
        note_stage("undoing what the test made");
        undo_resources();
        const std::string rest = take_output();
        expect_text("standard output that nobody expected", rest, "");
        // A test that skipped itself may not have come to make what it registered.
        if (!skip_reason.empty())
            findings().clear();
        expect_true(!leaks_memory(), "memory", "none lost", "see standard error");
        set_plugin(nullptr);
        finish_call_journal();
        note_stage("looking for what was left");
        leaks.expect_nothing_left();
    }
    write_report(report, skip_reason);
}

TestPlace::TestPlace(const TestCase &test, unsigned round, const TestSettings &settings)
    : directory(settings.directory + "/" + test.id + "." + std::to_string(round)) {
    make_directory(directory);
    make_directory(directory + "/etc");
    make_directory(directory + "/work");
    if (!settings.keep.empty())
        kept = kept_directory(settings.keep, test.id, round);
    if (!settings.record.empty())
        recorded = kept_directory(settings.record, test.id, round);
}

bool read_report(const std::string &report, TestResult &result) {
    const auto parsed = nlohmann::json::parse(report, nullptr, false);
    bool failed = false;
    if (!parsed.is_object())
        return failed;
    for (const auto &one : parsed["findings"]) {
        result.findings.push_back({one["warning"],
                                   one["called"],
                                   one["what"],
                                   one["expected"],
                                   one["got"],
                                   one["detail"],
                                   one["expected_excerpt"],
                                   one["got_excerpt"],
                                   one["times"],
                                   {},
                                   one["earlier"].get<std::vector<std::string>>()});
        for (const auto &file : one["configuration"])
            result.findings.back().configuration.push_back({file[0], file[1]});
        failed = failed || !result.findings.back().warning;
    }
    result.reason = parsed["skip"];
    return failed;
}

Outcome outcome_of(const TestResult &result, bool has_failed) {
    if (has_failed)
        return Outcome::fail;
    if (!result.reason.empty())
        return Outcome::skip;
    return result.findings.empty() ? Outcome::pass : Outcome::warn;
}

ConfigurationTexts configuration_left(const TestPlace &place) {
    ConfigurationTexts files;
    std::error_code error;
    for (const auto &entry : fs::directory_iterator(place.directory + "/etc", error)) {
        std::ifstream file(entry.path());
        std::ostringstream text;
        text << file.rdbuf();
        files.push_back({entry.path().filename().string(), text.str()});
    }
    std::sort(files.begin(), files.end(), [](const auto &a, const auto &b) { return a.file_name < b.file_name; });
    return files;
}

void keep_what_is_asked_for(const TestPlace &place, const TestSettings &settings, Outcome outcome) {
    // A process that died could not keep its directory on its own.
    if (!place.kept.empty() && is_failure(outcome))
        keep_directory(place.directory, place.kept);
    if (!place.recorded.empty() && (is_failure(outcome) || settings.records_all))
        keep_directory(place.directory + "/record", place.recorded);
}

void clear_place(const TestPlace &place, const std::string &made) {
    // Configuration files in the real directory, and what the plug-in made outside the test's own: newest first.
    std::istringstream lines(made);
    std::vector<std::string> paths;
    for (std::string path; std::getline(lines, path);)
        paths.push_back(path);
    for (auto path = paths.rbegin(); path != paths.rend(); ++path)
        std::remove(path->c_str());
    std::error_code error;
    fs::remove_all(place.directory, error);
}

}  // namespace conformance
