// Files of the probe's own. What goes wrong with them ends a check with an exception that says what and why.
#pragma once

#include <string>

#include "stsimage/file_descriptor.h"

namespace stsimage::probe {

// Opens a file or directory; flags as for open, new files with mode 0600.
FileDescriptor open_or_throw(const std::string &path, int flags);

// Writes a file whole, made or overwritten, and flushes it.
void write_file(const std::string &path, const std::string &content);

// The first bytes of an open file, as many as there are up to 100.
std::string content_of(const FileDescriptor &file);

// The same of the file that has a name now; "" when none has.
std::string content_of(const std::string &path);

// Locks a file in a process of its own, which is killed then.
void lock_and_be_killed(const std::string &path);

}  // namespace stsimage::probe
