#include "conformance/replay/replay_command.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <vector>

#include "base/private_directory.h"
#include "conformance/calls/call_journal.h"
#include "conformance/replay/against_report.h"
#include "conformance/replay/replayed_test.h"
#include "conformance/replay/test_difference.h"

namespace conformance {

namespace fs = std::filesystem;

namespace {

enum ExitStatus { all_same = 0, some_differ = 1, wrong_usage = 2 };

struct Options {
    std::string recorded;
    std::string plugin;
    std::string pace = "max";
    unsigned timeout_seconds = 30;
};

bool read_options(int argc, char **argv, Options &options, int &status) {
    CLI::App app{
        "Makes the calls of recorded tests again, in the surroundings that the tests had made, and compares.\n"
        "Exit status: 0 all calls did the same, 1 some did not, 2 wrong usage or the calls cannot be made.",
        "stspi-conformance replay"};
    app.add_option("RECORDED", options.recorded, "A directory that --record left, or one test's directory in it")
        ->required();
    app.add_option("--plugin", options.plugin, "Path of the plug-in's shared library")->required();
    app.add_option("--pace", options.pace, "As fast as possible (max), or at the recorded times (real)")
        ->check(CLI::IsMember({"max", "real"}))
        ->capture_default_str();
    app.add_option("--timeout", options.timeout_seconds, "Seconds until a test's calls are given up")
        ->check(CLI::Range(1U, 86400U))
        ->capture_default_str();
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        if (error.get_exit_code() == 0) {
            app.exit(error);
            status = all_same;
        } else {
            std::fprintf(stderr,
                         "stspi-conformance: %s\nRun \"stspi-conformance replay --help\" for more information.\n",
                         error.what());
            status = wrong_usage;
        }
        return false;
    }
    return true;
}

std::vector<std::string> recorded_tests(const std::string &directory) {
    if (fs::exists(directory + "/" + calls_file))
        return {directory};
    std::vector<std::string> tests;
    std::error_code error;
    for (const auto &entry : fs::directory_iterator(directory, error))
        if (fs::exists(entry.path() / calls_file))
            tests.push_back(entry.path().string());
    if (tests.empty())
        throw std::runtime_error(fmt::format("{}: no recorded test is there", directory));
    std::sort(tests.begin(), tests.end());
    return tests;
}

std::string how_it_ended(const ReplayOutcome &outcome) {
    switch (outcome.end) {
        case ReplayOutcome::End::hung:
            return "a call did not end in time";
        case ReplayOutcome::End::crashed:
            return outcome.signal != 0 ? fmt::format("the plug-in was ended by signal {}", outcome.signal)
                                       : fmt::format("the plug-in ended the process: {}", outcome.reason);
        default:
            return {};
    }
}

}  // namespace

int replay_command(int argc, char **argv) {
    Options options;
    int status = wrong_usage;
    if (!read_options(argc, argv, options, status))
        return status;
    const std::string plugin = fs::absolute(options.plugin).string();
    if (!fs::exists(plugin))
        throw std::runtime_error(fmt::format("{}: there is no such file", options.plugin));
    const PrivateDirectory directory("stspi-replay", AtEnd::remove_all);
    size_t differing = 0;
    unsigned long same = 0;
    const auto tests = recorded_tests(fs::absolute(options.recorded).lexically_normal().string());
    for (const std::string &test : tests) {
        const std::string name = fs::path(test).filename().string();
        const std::string again = directory / name;
        const ReplayOutcome outcome =
            replay_test(test, plugin, std::chrono::seconds(options.timeout_seconds),
                        options.pace == "real" ? ReplayPace::as_recorded : ReplayPace::as_fast_as_possible, again);
        const TestDifference difference = differences_between(test, again);
        same += difference.same;
        const std::string end = how_it_ended(outcome);
        if (difference.differences.empty() && end.empty())
            continue;
        ++differing;
        std::fputs(test_difference_text(name, difference, end, {"recorded", "now"}).c_str(), stdout);
        // What is not written yet would be written by each process that comes.
        std::fflush(stdout);
        fs::remove_all(again);
    }
    std::fputs(
        fmt::format("{} recorded tests, {} differ; {} calls are the same.\n", tests.size(), differing, same).c_str(),
        stdout);
    return differing == 0 ? all_same : some_differ;
}

}  // namespace conformance
