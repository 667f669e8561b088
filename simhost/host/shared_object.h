// What a shared library's file says about itself, without loading it.
#pragma once

#include <string>
#include <vector>

struct SharedObject {
    std::string soname;
    std::vector<std::string> needed;   // libraries that are loaded with it
    std::vector<std::string> exports;  // symbols that it defines for others, sorted
};

// Throws UsageError when the file cannot be read, is no shared library for this machine, or is cut off: the loader's words
// for these say something else, or it is killed.
void demand_loadable(const std::string &path);

// The same, and what the library says.
SharedObject read_shared_object(const std::string &path);
