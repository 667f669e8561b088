// The files that check and show are about.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "simhost/check/outline.h"

// Adds --as.
void add_grammar_option(CLI::App &command, std::string &grammar);

// The grammar that --as names or, without it, that the file's name stands for. Throws UsageError when neither tells.
Grammar choose_grammar(const std::string &path, const std::string &as);

// All bytes of a file, or of standard input for "-". Throws UsageError when it cannot be read, or does not end before
// 64 MiB.
std::string read_configuration_source(const std::string &path);

// The files of a directory that the plug-in would read by their names, in order. Throws UsageError when there are none.
std::vector<std::string> configuration_files(const std::string &directory);
