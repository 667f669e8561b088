#include "conformance/explore/explore_command.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <thread>

#include "base/private_directory.h"
#include "conformance/calls/image_calls.h"
#include "conformance/explore/exploration.h"
#include "conformance/explore/exploration_report.h"
#include "conformance/explore/history_maker.h"
#include "conformance/explore/journal_of_calls.h"
#include "conformance/explore/shrinking.h"
#include "conformance/run/kept_directory.h"
#include "conformance/run/surroundings.h"
#include "conformance/run/test_process.h"

namespace conformance {

namespace {

enum ExitStatus { nothing_found = 0, something_found = 1, wrong_usage = 2 };

constexpr char memory_file_system[] = "/dev/shm";
constexpr size_t most_tries_of_shrinking = 3000;
constexpr int most_plays_until_found_again = 20;

struct Options {
    std::string plugin;
    ExplorationPlan plan;
    unsigned seconds = 60;
    unsigned time_limit_seconds = 10;
    std::string against;
    std::string keep;
    std::string json_file;
    bool has_time = false;
};

volatile std::sig_atomic_t stop_signal = 0;

void stop_on(int signal_number) {
    struct sigaction action {};
    action.sa_handler = [](int number) { stop_signal = number; };
    sigaction(signal_number, &action, nullptr);
}

bool read_options(int argc, char **argv, Options &options, int &status) {
    options.plan.jobs = std::max(1U, std::thread::hardware_concurrency());
    CLI::App app{
        "Plays histories of calls that nobody wrote, and holds each answer against a model of the interface.\n"
        "Exit status: 0 nothing found, 1 something found, 2 wrong usage or the library cannot be tested.",
        "stspi-conformance explore"};
    app.add_option("PLUGIN", options.plugin, "Path of the plug-in's shared library")->required();
    app.add_option("--seed", options.plan.seed, "Which histories: the same seed plays the same ones")
        ->capture_default_str();
    auto *time = app.add_option("--time", options.seconds, "Seconds after which no more are played")
                     ->check(CLI::Range(1U, 1000000U))
                     ->capture_default_str();
    app.add_option("--histories", options.plan.histories,
                   "How many histories to play; without --time as long as they take");
    app.add_option("--first", options.plan.first, "Number of the first history")->capture_default_str();
    app.add_option("--steps", options.plan.most_calls, "Calls of a history at most, those of threads apart")
        ->check(CLI::Range(3U, 100000U))
        ->capture_default_str();
    app.add_option("--jobs", options.plan.jobs, "Histories to play at the same time")
        ->check(CLI::Range(1U, unsigned{MOST_JOBS}))
        ->capture_default_str();
    app.add_option("--timeout", options.time_limit_seconds, "Seconds until a history is ended")
        ->check(CLI::Range(1U, 86400U))
        ->capture_default_str();
    app.add_option("--against", options.against,
                   "Compare with this plug-in instead of the model: what the one does and the other does not");
    app.add_option("--json", options.json_file, "Write the result as JSON to this file");
    app.add_option("--keep", options.keep,
                   "Write what was found to this directory, which must be empty: configuration files, a journal of the "
                   "calls, and a test in C++");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        if (error.get_exit_code() == 0) {
            app.exit(error);
            status = nothing_found;
        } else {
            std::fprintf(stderr,
                         "stspi-conformance: %s\nRun \"stspi-conformance explore --help\" for more information.\n",
                         error.what());
            status = wrong_usage;
        }
        return false;
    }
    options.has_time = time->count() != 0;
    options.plan.time =
        std::chrono::seconds(options.plan.histories != 0 && !options.has_time ? 1000000 : options.seconds);
    options.plan.time_limit = std::chrono::seconds(options.time_limit_seconds);
    return true;
}

void put(const std::string &text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
}

void write_file(const std::string &path, const std::string &text) {
    std::ofstream file(path, std::ios::binary);
    file << text;
    file.close();
    if (!file)
        throw std::runtime_error(fmt::format("cannot write {}", path));
}

Sides sides_of(const Options &options) {
    if (options.against.empty())
        return {};
    return {fmt::format("{} does", std::filesystem::path(options.plugin).filename().string()),
            fmt::format("{} does", std::filesystem::path(options.against).filename().string())};
}

// Null when there is none.
std::unique_ptr<PluginCaller> other_caller(Options &options) {
    if (options.against.empty())
        return nullptr;
    options.against = std::filesystem::absolute(options.against).string();
    std::error_code error;
    // Loaded twice it would be one library, with one memory of what happened before.
    if (std::filesystem::equivalent(options.plugin, options.against, error))
        throw std::runtime_error(fmt::format("--against: {} is the same file", options.against));
    TestSettings settings;
    settings.plugin = options.against;
    settings.time_limit = options.plan.time_limit;
    if (const std::string reason = why_not_testable(settings); !reason.empty())
        throw std::runtime_error(reason);
    return std::make_unique<PluginCaller>(options.against);
}

void keep_all(const Options &options, HistoryProcess &process, const History &history, const HistoryFinding &finding) {
    std::filesystem::create_directory(options.keep + "/etc");
    for (const auto &[name, text] : configuration_of(expanded(history, process.places())))
        write_file(fmt::format("{}/etc/{}.sim", options.keep, name), text);
    write_file(options.keep + "/finding.txt", finding_text(history, finding, sides_of(options)));
    // Of two plug-ins nobody knows which is right: there is nothing to expect in a test.
    if (options.against.empty())
        write_file(options.keep + "/finding.cpp", test_text(history, finding, process.expectations(history)));
    process.play(history, false,
                 [&] { return journal_of_calls(options.keep + "/finding.stspi", options.plugin, options.plan.seed); });
}

Found cut_down(const Options &options, const ExplorationResult &result, HistoryProcess &process) {
    Found found;
    found.history = make_history(options.plan.seed, *result.number, options.plan.most_calls);
    const bool memory = watches_memory(found.history, *result.number);
    for (int plays = 0; plays < most_plays_until_found_again && !found.is_again && stop_signal == 0; ++plays) {
        found.finding = process.play(found.history, memory);
        found.is_again = found.finding.kind != HistoryFinding::none;
    }
    if (!found.is_again)
        found.finding = result.finding;
    put(fmt::format("history {} of {} calls: {}{}\n", *result.number, found.history.calls.size(), found.finding.what,
                    found.is_again ? "" : ", found once and not again: as it was seen then"));
    if (!found.is_again)
        return found;
    const HistoryFinding first = found.finding;
    const auto is_same = [&](const History &one) {
        if (stop_signal != 0)
            return false;
        HistoryFinding finding = process.play(one, memory);
        if (!finding.is_like(first))
            return false;
        found.finding = std::move(finding);
        return true;
    };
    found.history = shrunk(std::move(found.history), is_same, most_tries_of_shrinking);
    return found;
}

}  // namespace

int explore_command(int argc, char **argv) {
    Options options;
    int status = wrong_usage;
    if (!read_options(argc, argv, options, status))
        return status;
    for (const int number : {SIGINT, SIGTERM, SIGHUP})
        stop_on(number);
    options.plugin = std::filesystem::absolute(options.plugin).string();
    if (!options.keep.empty()) {
        options.keep = std::filesystem::absolute(options.keep).string();
        make_empty_directory(options.keep, "--keep");
    }
    if (!options.json_file.empty())
        options.json_file = std::filesystem::absolute(options.json_file).string();
    leave_unfitting_temporary_directory();
    // Making and removing files is a good part of the work, and least of it in memory.
    if (access(memory_file_system, W_OK | X_OK) == 0)
        setenv("TMPDIR", memory_file_system, 0);
    const PrivateDirectory directory("stspi-explore", AtEnd::remove_all);
    chmod(directory.path().c_str(), 0711);
    TestSettings settings;
    settings.plugin = options.plugin;
    settings.directory = directory.path();
    settings.time_limit = options.plan.time_limit;
    if (const std::string reason = why_not_testable(settings); !reason.empty())
        throw std::runtime_error(reason);

    prepare_test_process();
    load_image_double();
    PluginCaller caller(options.plugin);
    const std::unique_ptr<PluginCaller> other = other_caller(options);
    const std::string array_name = array_name_of(caller, directory / "probe");
    put(fmt::format("seed {}\n", options.plan.seed));
    const ExplorationResult result =
        explore(caller, other.get(), options.plan, directory.path(), array_name, [] { return stop_signal != 0; });
    Found found;
    if (result.number) {
        // Paths as long as the jobs' own: what is found may depend on it.
        HistoryProcess process(caller, fmt::format("{}/j{:02x}", directory.path(), options.plan.jobs),
                               own_name(options.plan.jobs), array_name, options.plan.time_limit, other.get());
        found = cut_down(options, result, process);
        put(finding_text(found.history, found.finding, sides_of(options)));
        if (!options.keep.empty())
            keep_all(options, process, found.history, found.finding);
    }
    put(figures_text(result));
    if (!options.json_file.empty())
        write_file(options.json_file, exploration_json(options.plan, result, result.number ? &found : nullptr,
                                                       options.plugin, options.against));
    if (stop_signal != 0)
        throw std::runtime_error(fmt::format("stopped by signal {}", static_cast<int>(stop_signal)));
    return result.number ? something_found : nothing_found;
}

}  // namespace conformance
