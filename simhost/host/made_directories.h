// The directories that libraries make in this process.
//
// A plug-in and an image library make directories of their own choice: storage, volume and parent directories. To take
// away afterwards exactly those, and never one that was there before, the program defines mkdir and mkdirat itself, which
// the dynamic linker prefers to the C library's for every library the program loads, and writes down what they made. The
// filter in front of the plug-in makes one too, for the data of its journal, which is to stay with that: it is left out.
#pragma once

#include <string>
#include <vector>

// Directories made since record_made_directories, in the order of their making; absolute paths.
void record_made_directories();
std::vector<std::string> made_directories();

// Removes the recorded directories, last made first, as far as they are empty. Returns those that are still there.
std::vector<std::string> remove_made_directories();
