// A journal that a command was told to read.
#pragma once

#include "journal/reader.h"
#include "simhost/commands/command_line.h"

// Throws UsageError when the file is no journal or cannot be read.
journal::Reader open_journal(const std::string &path);

// Tells, when all has been read, what could not be read and what was lost.
void warn_of_damage(const journal::Reader &reader, const std::string &path, Report &report);
