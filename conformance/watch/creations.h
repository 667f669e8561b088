// Directories, links and files that the plug-in makes, seen as they are made: the program defines the functions of the C
// library that make them, and the dynamic linker prefers those. What a plug-in makes by system calls of its own goes unseen.
#pragma once

#include <string>
#include <vector>

namespace conformance {

// In the place of a descriptor, as AT_FDCWD.
constexpr int working_directory = -100;

// From now on what is made while the plug-in is loaded or called is remembered. directory: the test's own; what is made
// outside is also written to the journal, one path a line, so that it can be removed when this process dies.
void watch_creations(const std::string &directory, int journal);

// The call that made a path, "" when it is not known.
std::string creator_of(const std::string &path);

// A finding for each thing outside the test's directory that is still there; then it is removed, newest first.
void expect_nothing_outside();

// For the functions that make things: path was made just now, relative to the directory that descriptor is open on.
void note_creation(int descriptor, const char *path);

// What a watched function was called with before it makes something; false where nobody watches, or something is there.
bool would_create(int descriptor, const char *path);

}  // namespace conformance
