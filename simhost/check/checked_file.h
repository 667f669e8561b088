// One file, checked.
#pragma once

#include <string>
#include <vector>

#include "simhost/check/finding.h"
#include "simhost/check/outline.h"
#include "simhost/check/source_text.h"

struct CheckedFile {
    std::string name;  // as messages give it
    SourceText source;
    Outline outline;
    std::vector<Finding> findings;  // by place
    size_t ignored = 0;             // findings that nobody wanted to hear of
};

// The pools that a host must see, these and no others.
struct Expectation {
    std::string host;
    std::vector<std::string> pools;
};

// What is demanded of a file, beyond that it means what it says.
struct Demands {
    // Servers that it must serve, as PREFIX:HOST: of a disk array HOST must see a pool, of a Copan array HOST must have a
    // section. PREFIX must be that of the file's name; of a file that the plug-in would not read by that grammar, any of
    // the grammar.
    std::vector<std::string> servers;
    std::vector<Expectation> expectations;  // of a disk array
    bool on_this_machine = false;           // that its directories can be made here
};

// Checks the bytes of a file.
CheckedFile check_file(std::string name, std::string bytes, Grammar grammar, const Demands &demands = {});

// The grammar that the plug-in reads a file by: its name decides. False when the plug-in reads no file of that name.
bool grammar_of_file(const std::string &path, Grammar &grammar);

const char *grammar_word(Grammar grammar);  // "disk array", "Copan array"
