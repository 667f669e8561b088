// simhost sweep.
#pragma once

#include "simhost/commands/command_line.h"

void add_sweep_command(CLI::App &app, CommandLine &line);
