// What a shared library's file says about itself, without loading it.
#pragma once

#include <string>
#include <vector>

struct SharedObject {
    std::string soname;
    std::vector<std::string> needed;   // libraries that are loaded with it
    std::vector<std::string> exports;  // symbols that it defines for others, sorted
};

// Throws UsageError when the file cannot be read or is no shared library for x86-64.
SharedObject read_shared_object(const std::string &path);
