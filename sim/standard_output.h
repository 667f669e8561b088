// Remarks about configuration files.
#pragma once

#include <string>

// Prints a line on standard output and flushes it. The stream is the host process's: what it throws, where the host has
// set it to throw, is dropped, since nobody above expects it.
void print_line(const std::string &line);
