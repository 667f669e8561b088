// All commands of simhost.
#pragma once

#include "simhost/commands/command_line.h"

// Adds all commands and their help.
void add_commands(CLI::App &app, CommandLine &line);
