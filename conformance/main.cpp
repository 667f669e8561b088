// stspi-conformance: tests a plug-in as a black box.
#include <fmt/format.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>

#include "base/private_directory.h"
#include "conformance/explore/explore_command.h"
#include "conformance/replay/against_report.h"
#include "conformance/replay/replay_command.h"
#include "conformance/replay/test_difference.h"
#include "conformance/report/badge.h"
#include "conformance/report/profile.h"
#include "conformance/report/report_html.h"
#include "conformance/report/report_json.h"
#include "conformance/report/report_junit.h"
#include "conformance/report/report_text.h"
#include "conformance/report/requirements.h"
#include "conformance/report/run_facts.h"
#include "conformance/report/verdict.h"
#include "conformance/run/in_process_run.h"
#include "conformance/run/kept_directory.h"
#include "conformance/run/options.h"
#include "conformance/run/real_config.h"
#include "conformance/run/runner.h"
#include "conformance/run/surroundings.h"

using namespace conformance;

namespace {

enum ExitStatus { all_passed = 0, some_failed = 1, not_testable = 2 };

volatile std::sig_atomic_t stop_signal = 0;

void stop_on(int signal_number) {
    struct sigaction action {};
    action.sa_handler = [](int number) { stop_signal = number; };
    sigaction(signal_number, &action, nullptr);
}

void put(const std::string &text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
}

void tell(const char *error) { std::fprintf(stderr, "stspi-conformance: %s\n", error); }

// When standard output is a pipe that nobody reads any more: ends as if by SIGPIPE, without a word.
void end_if_reader_has_gone() {
    pollfd output = {STDOUT_FILENO, POLLOUT, 0};
    if (poll(&output, 1, 0) != 1 || (output.revents & POLLERR) == 0)
        return;
    std::signal(SIGPIPE, SIG_DFL);
    std::raise(SIGPIPE);
}

void list_tests(const std::vector<const TestCase *> &tests) {
    for (const TestCase *test : tests)
        put(fmt::format("{}\n    {}\n", test->id, test->demand));
}

void write_file(const std::string &path, const std::string &text) {
    std::ofstream file(path, std::ios::binary);
    file << text;
    file.close();
    if (!file)
        throw std::runtime_error(fmt::format("cannot write {}", path));
}

// Absolute; "" for a name that was not given.
std::string empty_directory(const std::string &name, const char *option) {
    if (name.empty())
        return name;
    std::string path = std::filesystem::absolute(name).string();
    make_empty_directory(path, option);
    return path;
}

std::vector<TestResult> results_of(const Options &options, const TestSettings &settings,
                                   const std::vector<const TestCase *> &tests, const Profile &profile) {
    RunPlan plan{{}, options.repeat, options.real_config ? 1 : options.jobs};
    std::vector<TestResult> results;
    const auto tell_result = [&](TestResult &result) {
        const bool has_failed = is_failure(result.outcome);
        judge_by_profile(profile, result);
        const std::string text = result_text(result, "stspi-conformance", options.plugin);
        if (options.verbose || result.outcome != Outcome::pass)
            put(text);
        if (!settings.keep.empty() && has_failed)
            keep_finding(kept_directory(settings.keep, result.test->id, result.round), text);
    };
    for (const TestCase *test : tests) {
        const auto known = profile.find(test->id);
        if (known == profile.end() || known->second.expectation != KnownTest::skip) {
            plan.tests.push_back(test);
            continue;
        }
        for (unsigned round = 1; round <= options.repeat; ++round)
            tell_result(results.emplace_back(skipped_by_profile(*test, round, known->second)));
    }
    const auto stopped = [] { return stop_signal != 0; };
    if (options.in_process)
        tell(not_guarded_in_process);
    for (TestResult &result : options.in_process ? run_tests_in_process(plan, settings, tell_result, stopped)
                                                 : run_tests(plan, settings, tell_result, stopped))
        results.push_back(std::move(result));
    return in_order(std::move(results));
}

// Both work in directories of the same names, one after the other: paths are part of what is compared.
int run_against(const Options &options, TestSettings settings, const std::vector<const TestCase *> &tests) {
    const RunPlan plan{tests, 1, options.real_config ? 1 : options.jobs};
    const auto stopped = [] { return stop_signal != 0; };
    const std::string base = settings.directory;
    settings.records_all = true;
    std::vector<TestResult> results[2];
    for (const size_t side : {size_t{0}, size_t{1}}) {
        if (side == 1)
            settings.plugin = std::filesystem::absolute(options.against).string();
        if (const std::string reason = side == 1 ? why_not_testable(settings) : ""; !reason.empty())
            throw std::runtime_error(reason);
        settings.record = fmt::format("{}/side{}", base, side);
        make_empty_directory(settings.record, "--against");
        results[side] = run_tests(
            plan, settings, [](TestResult &) {}, stopped);
    }
    if (stop_signal != 0)
        throw std::runtime_error(fmt::format("stopped by signal {}", static_cast<int>(stop_signal)));
    std::vector<ComparedTest> compared;
    compared.reserve(results[0].size());
    bool differs = false;
    for (size_t i = 0; i < results[0].size(); ++i) {
        const std::string &id = results[0][i].test->id;
        compared.push_back(
            {results[0][i], results[1][i],
             differences_between(fmt::format("{}/side0/{}", base, id), fmt::format("{}/side1/{}", base, id))});
        differs = differs || compared.back().differs();
    }
    const auto name = [](const std::string &path) { return std::filesystem::path(path).filename().string() + " does"; };
    put(against_text(compared, {name(options.plugin), name(options.against)}));
    return differs ? some_failed : all_passed;
}

int run(const Options &options) {
    if (options.requirements) {
        put(requirements_markdown());
        return all_passed;
    }
    auto tests = select_tests(options.filter);
    const auto is_above = [&](const TestCase *test) { return level_of(*test) > options.level; };
    tests.erase(std::remove_if(tests.begin(), tests.end(), is_above), tests.end());
    const Profile profile = options.profile.empty() ? Profile() : read_profile(options.profile);
    if (options.list) {
        list_tests(tests);
        return all_passed;
    }
    for (const int number : {SIGINT, SIGTERM, SIGHUP})
        stop_on(number);
    // A reader that goes away shows as a failed write, not as a death that leaves the directory behind.
    std::signal(SIGPIPE, SIG_IGN);
    if (const std::string note = leave_unfitting_temporary_directory(); !note.empty())
        tell(note.c_str());
    const PrivateDirectory directory("stspi-conformance", AtEnd::remove_all);
    // Tests that give up their privileges must still reach what lies below.
    chmod(directory.path().c_str(), 0711);
    expect_fit_for_tests(directory.path());
    const auto real_config = options.real_config ? std::make_unique<RealConfigDirectory>() : nullptr;

    TestSettings settings;
    settings.plugin = std::filesystem::absolute(options.plugin).string();
    settings.directory = directory.path();
    settings.time_limit = std::chrono::seconds(options.timeout_seconds);
    settings.real_config = options.real_config;
    settings.fork_side = options.fork_side;
    settings.keep = empty_directory(options.keep, "--keep");
    settings.record = empty_directory(options.record, "--record");
    settings.records_all = options.record_all;
    if (const std::string reason = why_not_testable(settings); !reason.empty())
        throw std::runtime_error(reason);

    if (!options.against.empty())
        return run_against(options, settings, tests);

    RunFacts facts = facts_of(options.plugin);
    const auto start = std::chrono::steady_clock::now();
    const auto results = results_of(options, settings, tests, profile);
    facts.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    put(summary_text(results, facts));
    if (!options.write_profile.empty())
        write_file(options.write_profile, profile_text(profile, results));
    if (!options.junit_file.empty())
        write_file(options.junit_file, junit_text(results, facts));
    if (!options.json_file.empty())
        write_file(options.json_file, json_text(results, facts));
    if (!options.html_file.empty())
        write_file(options.html_file, html_text(results, facts));
    if (!options.badge_file.empty())
        write_file(options.badge_file, badge_json(verdict_of(results)));
    if (stop_signal != 0)
        throw std::runtime_error(fmt::format("stopped by signal {}", static_cast<int>(stop_signal)));
    for (const TestResult &result : results)
        if (is_failure(result.outcome))
            return some_failed;
    return all_passed;
}

}  // namespace

int main(int argc, char **argv) {
    prepare_program();
    const auto is_command = [&](const char *name) { return argc > 1 && std::strcmp(argv[1], name) == 0; };
    if (is_command("explore") || is_command("replay")) {
        int status = not_testable;
        try {
            status = (is_command("explore") ? explore_command : replay_command)(argc - 1, argv + 1);
        } catch (const std::exception &error) {
            tell(error.what());
        }
        return status;
    }
    Options options;
    switch (read_command_line(argc, argv, options)) {
        case CommandLine::done:
            return all_passed;
        case CommandLine::wrong:
            return not_testable;
        case CommandLine::run:
            break;
    }
    int status = not_testable;
    try {
        status = run(options);
    } catch (const std::exception &error) {
        tell(error.what());
    }
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0)
        return status;
    end_if_reader_has_gone();
    tell("cannot write to standard output");
    return not_testable;
}
