// What tells a journal from any other file.
#pragma once

#include <string>

// True for a file that begins as a journal does. Never throws; false for what cannot be read.
bool is_marked_as_journal(const std::string &path);
