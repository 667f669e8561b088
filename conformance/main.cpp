// stspi-conformance: tests a plug-in as a black box.
#include <fmt/format.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

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
#include "conformance/report/badge.h"
#include "conformance/report/report_html.h"
#include "conformance/report/report_json.h"
#include "conformance/report/report_junit.h"
#include "conformance/report/report_text.h"
#include "conformance/report/requirements.h"
#include "conformance/report/run_facts.h"
#include "conformance/report/verdict.h"
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

int run(const Options &options) {
    if (options.requirements) {
        put(requirements_markdown());
        return all_passed;
    }
    const auto tests = select_tests(options.filter);
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
    if (!options.keep.empty()) {
        settings.keep = std::filesystem::absolute(options.keep).string();
        make_empty_directory(settings.keep);
    }
    if (const std::string reason = why_not_testable(settings); !reason.empty())
        throw std::runtime_error(reason);

    RunFacts facts = facts_of(options.plugin);
    const auto start = std::chrono::steady_clock::now();
    const RunPlan plan{tests, options.repeat, options.real_config ? 1 : options.jobs};
    const auto results = run_tests(
        plan, settings,
        [&](const TestResult &result) {
            if (options.verbose || result.outcome != Outcome::pass)
                put(result_text(result, "stspi-conformance", options.plugin));
            if (!settings.keep.empty() && is_failure(result.outcome))
                keep_finding(kept_directory(settings.keep, result.test->id, result.round),
                             result_text(result, "stspi-conformance", options.plugin));
        },
        [] { return stop_signal != 0; });
    facts.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    put(summary_text(results, facts));
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
    if (argc > 1 && std::strcmp(argv[1], "explore") == 0) {
        int status = not_testable;
        try {
            status = explore_command(argc - 1, argv + 1);
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
