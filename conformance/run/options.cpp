#include "conformance/run/options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "conformance/report/requirements.h"

namespace conformance {

namespace {

using Reports = std::vector<CLI::Option *>;

// What is written of a run, and what decides what it comes to.
Reports add_reports(CLI::App &app, Options &options) {
    auto *repeat = app.add_option("--repeat", options.repeat, "Run every test so many times")
                       ->check(CLI::Range(1U, 100000U))
                       ->capture_default_str();
    auto *junit = app.add_option("--junit", options.junit_file, "Write the results as JUnit XML to this file");
    auto *json = app.add_option("--json", options.json_file, "Write the results as JSON to this file");
    auto *page = app.add_option("--report", options.html_file,
                                "Write the results as one HTML page: levels, areas, requirements, what was found");
    auto *badge =
        app.add_option("--badge", options.badge_file, "Write the level that is passed whole as JSON for a badge");
    auto *keep = app.add_option(
        "--keep", options.keep,
        "Keep the directories of failing tests, with what was found, in this directory, which must be empty");
    auto *record = app.add_option("--record", options.record,
                                  "Keep the journal of each failing test in this directory, which must be empty");
    app.add_flag("--record-all", options.record_all, "With --record: keep the journals of tests that pass, too")
        ->needs(record);
    auto *profile = app.add_option(
        "--profile", options.profile,
        "What is known of this plug-in, a line each: TEST = fail|skip \"REASON\" [TICKET]. A listed failure fails "
        "nothing; a test that is listed as failing and passes does");
    auto *write_profile = app.add_option("--write-profile", options.write_profile,
                                         "Write a profile under which this run would have passed to this file");
    return {repeat, junit, json, page, badge, keep, record, profile, write_profile};
}

// Where the tests run.
void add_surroundings(CLI::App &app, Options &options, const Reports &reports) {
    auto *jobs = app.add_option("--jobs", options.jobs, "Tests to run at the same time")
                     ->check(CLI::Range(1U, 256U))
                     ->capture_default_str();
    app.add_option("--timeout", options.timeout_seconds,
                   "Seconds, running or asleep, until a test is ended (four times as many for a few long tests)")
        ->check(CLI::Range(1U, 86400U))
        ->capture_default_str();
    auto *fork = app.add_option("--fork", options.fork_side,
                                "Fork when the plug-in is loaded, and test in the child, or in the parent");
    fork->transform(CLI::CheckedTransformer(
                        std::map<std::string, ForkSide>{{"parent", ForkSide::parent}, {"child", ForkSide::child}})
                        .description("parent|child"));
    auto *in_process = app.add_flag("--in-process", options.in_process,
                                    "Run the tests one after another in this process, for debuggers; without the "
                                    "guards of processes of their own")
                           ->excludes(jobs)
                           ->excludes(fork);
    app.add_flag("--real-config", options.real_config,
                 "Put the tests' configuration files into /etc/quillmere (root only, one test at a time; refused when "
                 "there are configuration files already)");
    auto *against = app.add_option(
        "--against", options.against,
        "Run the tests on this plug-in, too, and tell what one does and the other does not, whatever they should do");
    // What is told then is no verdict on one plug-in.
    against->excludes(in_process);
    for (auto *report : reports)
        against->excludes(report);
}

}  // namespace

CommandLine read_command_line(int argc, char **argv, Options &options) {
    options.jobs = std::max(1U, std::thread::hardware_concurrency());
    CLI::App app{
        "Tests a disk-storage plug-in against its interface.\n"
        "Exit status: 0 all tests passed, 1 some failed, 2 wrong usage or the library cannot be tested.",
        "stspi-conformance"};
    app.footer(
        "\"stspi-conformance explore\" looks for what no test has thought of,\n"
        "\"stspi-conformance replay\" makes the calls of recorded tests again: see their --help.");
    app.set_version_flag("--version", STSPI_VERSION);
    auto *plugin = app.add_option("PLUGIN", options.plugin, "Path of the plug-in's shared library");
    app.add_flag("--list", options.list, "Print the tests and what each demands, run none");
    app.add_flag("--requirements", options.requirements,
                 "Print what the interface demands and which tests hold it, as Markdown; run none");
    app.add_option("--filter", options.filter,
                   "Only tests whose id matches one of these comma-separated shell patterns; each must match a test");
    app.add_option("--level", options.level, "Only tests of this level and of those below it")
        ->check(CLI::Range(1U, level_count))
        ->capture_default_str();
    app.add_flag("-v,--verbose", options.verbose, "Print the tests that pass, too");
    add_surroundings(app, options, add_reports(app, options));
    try {
        app.parse(argc, argv);
        if (!options.list && !options.requirements && plugin->count() == 0)
            throw CLI::RequiredError("PLUGIN");
    } catch (const CLI::ParseError &error) {
        if (error.get_exit_code() == 0) {
            app.exit(error);
            return CommandLine::done;
        }
        std::fprintf(stderr, "stspi-conformance: %s\nRun \"stspi-conformance --help\" for more information.\n",
                     error.what());
        return CommandLine::wrong;
    }
    return CommandLine::run;
}

}  // namespace conformance
