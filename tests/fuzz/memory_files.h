// Configuration files in memory.
//
// A fuzz target that links memory_files.cpp defines fopen itself: every path below /etc/quillmere is one file in memory.
#pragma once

#include <string>

// What the file holds. Written files are taken over when they are closed.
void set_memory_file(const std::string &text);
std::string memory_file();
