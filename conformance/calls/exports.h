// What a shared library exports, read from its file.
#pragma once

#include <set>
#include <string>

namespace conformance {

// The defined global and weak names of the dynamic symbol table. Throws std::runtime_error for a file it cannot read.
std::set<std::string> exports_of(const std::string &path);

}  // namespace conformance
