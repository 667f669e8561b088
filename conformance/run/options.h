// The command line.
#pragma once

#include <string>

#include "conformance/run/fork_side.h"

namespace conformance {

struct Options {
    std::string plugin;
    std::string filter;
    std::string junit_file;
    std::string json_file;
    std::string html_file;
    std::string badge_file;
    std::string keep;
    std::string record;
    std::string profile;
    std::string write_profile;
    std::string against;
    unsigned level = 5;
    unsigned jobs = 1;
    unsigned repeat = 1;
    unsigned timeout_seconds = 30;
    bool list = false;
    bool requirements = false;
    bool verbose = false;
    bool real_config = false;
    ForkSide fork_side = ForkSide::none;
    bool in_process = false;
    bool record_all = false;
};

enum class CommandLine { run, done, wrong };

// Fills options. done: something like --help was asked for and answered. wrong: the error was printed.
CommandLine read_command_line(int argc, char **argv, Options &options);

}  // namespace conformance
