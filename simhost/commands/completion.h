// What may stand for the last word of a command line: the shells' completion scripts ask the program itself.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

// One line of the answer, for people who have asked for a word by pressing Tab.
struct Candidate {
    std::string word;
    std::string description;  // may be empty
};

struct Completion {
    // What the shell itself has to offer besides the candidates.
    enum class Others { none, files, directories };
    Others others = Others::none;
    std::vector<Candidate> candidates;
};

// words: those behind the program's name, the last of which is to be completed. Nothing that goes wrong is told.
Completion complete(const CLI::App &app, const std::vector<std::string> &words);

// The answer for the scripts: "none", "files" or "directories", then a line for each candidate, with a tabulator in front of
// its description.
std::string completion_text(const Completion &completion);
