// What stands beside the journal of a recorded test: what the test did to the plug-in's surroundings, and what the image library
// was asked and answered (conformance/calls/call_journal.h).
#pragma once

#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

namespace conformance {

struct TreeEntry {
    std::string path;  // below the working directory
    uint32_t mode = 0;
    std::string content;  // target of a link, bytes of a file

    bool operator==(const TreeEntry &other) const {
        return path == other.path && mode == other.mode && content == other.content;
    }
};
using Tree = std::vector<TreeEntry>;

struct SurroundingStep {
    uint64_t calls = 0;               // after so many calls had begun
    std::string file;                 // a configuration file; "" for none
    std::optional<std::string> text;  // nothing: it is removed
    std::optional<Tree> tree;         // the working directory
};

using BytesAt = std::vector<std::pair<size_t, std::string>>;  // argument, bytes that it leads to

struct LibraryAnswer {
    std::string function;
    std::vector<std::string> shown;  // what was asked, a text each: arguments, LSU, server
    int32_t status = 0;
    BytesAt stored;  // then
};

struct Surroundings {
    std::string directory;
    std::vector<SurroundingStep> steps;
    std::map<uint64_t, std::vector<LibraryAnswer>> answers;  // by the call's number, from 1; 0: outside of calls
    std::map<uint64_t, BytesAt> before;                      // what the places for results held, by the call's number
    std::optional<Tree> made;                                // nothing when the process died before
    uint64_t made_calls = 0;                                 // so many calls had begun then
};

// Of a directory in which a test was recorded. Throws std::runtime_error, with file and line.
Surroundings read_surroundings(const std::string &directory);

}  // namespace conformance
