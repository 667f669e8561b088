// The last file-system call of a library in this process that failed.
//
// A plug-in answers every failure of a mount with one status. To tell what stood in the way, the program defines
// symlink and unlink itself, which the dynamic linker prefers to the C library's for every library the program loads,
// and writes down why they failed; mkdir is defined in made_directories.cpp. That something of the name is there already
// (EEXIST) is no failure: a mount expects it.
#pragma once

#include <string>

void forget_failed_file_call();

// what is the failure with "{}" for the path. Takes the reason from errno and leaves that as it is.
void note_failed_file_call(const char *what, const char *path);

// "the directory /a/b could not be made: Permission denied"; "" when no call failed since the last forgetting.
std::string failed_file_call();
