// What a framework would call on the servers of a good file.
#pragma once

#include <string>
#include <vector>

#include "simhost/check/checked_file.h"

// Lists, asks for properties, mounts and keeps images on all that the file promises, through the plug-in's entry points, in
// the sandbox. A line for each call that does not do what it should; none for a file with findings. used says whether
// anything was called.
std::vector<std::string> broken_calls(const CheckedFile &file, bool &used);
