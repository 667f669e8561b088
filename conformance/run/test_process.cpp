#include "conformance/run/test_process.h"

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
    if (pwrite(report, text.data(), text.size(), 0) != static_cast<ssize_t>(text.size()))
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

void run_test(const TestCase &test, const TestSettings &settings, const std::string &directory, const std::string &kept,
              int journal, int report) {
    if (chdir((directory + "/work").c_str()) != 0)
        throw std::runtime_error("the test's directory is gone");
    set_work_directory(directory + "/work");
    use_configuration_directory(settings.real_config ? real_config_directory : directory + "/etc", journal);
    watch_creations(directory, journal);
    load_image_double();
    std::string skip_reason;
    {
        const LeakCheck leaks(directory + "/work");
        set_plugin(std::make_unique<EntryPoints>(settings.plugin, RTLD_NOW | RTLD_LOCAL));
        go_to_fork_side(settings.fork_side);
        skip_reason = run_body(test);
        // Written twice: a crash in what follows does not lose what was found so far.
        write_report(report, skip_reason);
        if (!kept.empty() && skip_reason.empty() && has_failed())
            keep_directory(directory, kept);
        note_stage("undoing what the test made");
        undo_resources();
        const std::string rest = take_output();
        expect_text("standard output that nobody expected", rest, "");
        // A test that skipped itself may not have come to make what it registered.
        if (!skip_reason.empty())
            findings().clear();
        expect_true(!leaks_memory(), "memory", "none lost", "see standard error");
        set_plugin(nullptr);
        note_stage("looking for what was left");
        leaks.expect_nothing_left();
    }
    write_report(report, skip_reason);
}

// The configuration files that a test left.
ConfigurationTexts files_in(const std::string &directory) {
    ConfigurationTexts files;
    std::error_code error;
    for (const auto &entry : fs::directory_iterator(directory, error)) {
        std::ifstream file(entry.path());
        std::ostringstream text;
        text << file.rdbuf();
        files.push_back({entry.path().filename().string(), text.str()});
    }
    std::sort(files.begin(), files.end(), [](const auto &a, const auto &b) { return a.file_name < b.file_name; });
    return files;
}

void make_directory(const std::string &path) {
    fs::create_directories(path);
    // Searchable by others: tests that give up root's rights go on using it.
    chmod(path.c_str(), 0777);
}

}  // namespace

TestProcess::TestProcess(const TestCase &test, unsigned round, const TestSettings &settings)
    : test_(test),
      round_(round),
      directory_(settings.directory + "/" + test.id + "." + std::to_string(round)),
      journal_("what was made") {
    make_directory(directory_);
    make_directory(directory_ + "/etc");
    make_directory(directory_ + "/work");
    if (!settings.keep.empty())
        kept_ = kept_directory(settings.keep, test.id, round);
    const auto work = [&](int report) { run_test(test, settings, directory_, kept_, journal_.descriptor(), report); };
    child_ = std::make_unique<ChildProcess>(work, settings.time_limit * (test.is_long ? 4 : 1));
}

TestProcess::~TestProcess() {
    child_->finish();
    // Configuration files in the real directory, and what the plug-in made outside the test's own: newest first.
    std::istringstream journal(journal_.contents());
    std::vector<std::string> made;
    for (std::string path; std::getline(journal, path);)
        made.push_back(path);
    for (auto path = made.rbegin(); path != made.rend(); ++path)
        std::remove(path->c_str());
    std::error_code error;
    fs::remove_all(directory_, error);
}

TestResult TestProcess::result() const {
    TestResult result;
    result.test = &test_;
    result.round = round_;
    result.seconds = child_->seconds();
    const auto report = nlohmann::json::parse(child_->report(), nullptr, false);
    bool failed = false;
    if (report.is_object()) {
        for (const auto &one : report["findings"]) {
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
        result.reason = report["skip"];
    }
    if (!child_->ended_well()) {
        result.outcome = child_->timed_out() ? Outcome::timeout : child_->crashed() ? Outcome::crash : Outcome::fail;
        result.reason = child_->end_text();
        result.error_output = child_->error_output();
        if (result.findings.empty())
            result.configuration = files_in(directory_ + "/etc");
    } else if (failed) {
        result.outcome = Outcome::fail;
        result.error_output = child_->error_output();
    } else if (!result.reason.empty()) {
        result.outcome = Outcome::skip;
    } else if (!result.findings.empty()) {
        result.outcome = Outcome::warn;
    }
    // A process that died could not keep its directory on its own.
    if (!kept_.empty() && is_failure(result.outcome))
        keep_directory(directory_, kept_);
    return result;
}

std::string why_not_testable(const TestSettings &settings) {
    struct stat status;
    if (stat(settings.plugin.c_str(), &status) != 0)
        return fmt::format("{}: {}", settings.plugin, std::strerror(errno));
    const auto load = [&](int report) {
        use_configuration_directory(settings.directory, -1);
        load_image_double();
        std::string reason;
        try {
            const PluginLibrary library(settings.plugin, RTLD_NOW | RTLD_LOCAL);
            for (const char *name : {"stspi_init", "stspi_init2", "STSSanDiskEntryPoints", "STSSANDiskEntryPoints2"})
                if (library.symbol(name) == nullptr)
                    reason += fmt::format("{}{}", reason.empty() ? "not a plug-in, it does not export " : ", ", name);
        } catch (const std::runtime_error &error) {
            reason = fmt::format("cannot be loaded: {}", error.what());
        }
        if (write(report, reason.data(), reason.size()) < 0)
            std::abort();
    };
    ChildProcess child(load, settings.time_limit);
    wait_for_any({&child}, [] { return false; });
    std::string reason = child.report();
    if (reason.empty() && !child.ended_well())
        reason = child.end_text() + (child.error_output().empty() ? "" : "\n" + child.error_output());
    return reason.empty() ? reason : fmt::format("{}: {}", settings.plugin, reason);
}

}  // namespace conformance
