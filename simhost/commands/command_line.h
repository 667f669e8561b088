// What the commands share: the line that they read, the action that each leaves to carry out, their common options.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string>
#include <vector>

#include "simhost/host/captured_stdout.h"
#include "simhost/host/host.h"
#include "simhost/report/report.h"

// What a command has to work with.
struct Workbench {
    Report &report;
    CapturedStdout &captured;
};

struct CommandLine {
    std::string command;  // "run", "image put"
    OutputOptions output;
    HostOptions host;
    std::function<void(Workbench &)> action;
};

// Adds a subcommand.
CLI::App *add_command(CLI::App &app, const char *name, const char *description);

// Adds --json alone, for a command that makes no calls.
CLI::Option *add_json_option(CLI::App &command, OutputOptions &options);
// Adds --json, --verbose and --strict.
void add_output_options(CLI::App &command, OutputOptions &options);
// Adds --faults, --expect-all and --record.
void add_filter_options(CLI::App &command, FilterOptions &options);
// Adds the choice of the plug-in and of its surroundings.
void add_plugin_options(CLI::App &command, HostOptions &options);
// Adds --config-dir, an existing directory, which may come from the environment. CLI11 passes over what a validator refuses there, in
// some versions; so the value is looked at when it is taken.
void add_config_dir_option(CLI::App &command, std::string &config_dir, const char *description);
// The options of add_plugin_options, and the filter's.
void add_host_options(CLI::App &command, HostOptions &options);

// Adds --no-progress.
void add_progress_option(CLI::App &command, OutputOptions &options);
// Adds --chunk, the size of one read or write call.
void add_chunk_option(CLI::App &command, uint64_t &chunk_bytes);

struct ServerOptions {
    std::string server;
    std::vector<std::string> hosts;  // empty: the HOST part of the server's name

    std::vector<std::string> hosts_or_default() const;
};
// Adds --server and --hosts.
void add_server_options(CLI::App &command, ServerOptions &options);

// That a command does not know a word that was given, and what is like it.
std::string unknown_word(const CLI::App &command, const std::string &word);

// What to tell about arguments that could not be read: the mistake, and where to look.
std::string usage_error_text(const CLI::App &app, const CLI::ParseError &failure);
