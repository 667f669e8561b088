// The commands that read journals, and what they share.
#pragma once

#include "journal/reader.h"
#include "simhost/commands/command_line.h"

// Throws UsageError when the file is no journal or cannot be read.
journal::Reader open_journal(const std::string &path);

// Tells, when all has been read, what could not be read and what was lost.
void warn_of_damage(const journal::Reader &reader, const std::string &path, Report &report);

void add_journal_show_command(CLI::App &app, CommandLine &line);
void add_journal_stats_command(CLI::App &app, CommandLine &line);
void add_journal_export_command(CLI::App &app, CommandLine &line);
void add_journal_diff_command(CLI::App &app, CommandLine &line);

// Adds "journal" and its commands.
void add_journal_commands(CLI::App &app, CommandLine &line);
