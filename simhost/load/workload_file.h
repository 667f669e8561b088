// A workload as a file: lines "NAME = VALUE", '#' begins a comment.
#pragma once

#include <string>
#include <vector>

#include "simhost/load/workload.h"

struct WorkloadMistake {
    size_t line;    // from 1
    size_t column;  // from 1
    std::string what;
};

// Puts what the text says into force and returns what is wrong with it, in its order. A line "profile = NAME" means that
// profile's settings; lines behind it may change them.
std::vector<WorkloadMistake> read_workload(const std::string &text, Workload &workload);

// Each mistake with its place, the line and a caret.
std::string mistakes_text(const std::vector<WorkloadMistake> &mistakes, const std::string &name,
                          const std::string &text);

// A file with every setting as the workload has it, each with what it means.
std::string workload_text(const Workload &workload);

// Reads a file; "-" is standard input. Throws UsageError when it cannot be read.
std::string workload_file_text(const std::string &path);
// The same with what it says put into force. Throws UsageError, which tells the first mistake, when there is any.
void apply_workload_file(Workload &workload, const std::string &path);
