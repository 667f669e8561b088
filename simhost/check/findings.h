// Collects findings, in whatever order they are made.
#pragma once

#include <string>
#include <vector>

#include "simhost/check/finding.h"

class Findings {
public:
    // The results may be given edits. They are valid until the next finding.
    Finding &error(Rule rule, const Place &place, std::string text, std::string help = "",
                   std::vector<Note> notes = {});
    Finding &warning(Rule rule, const Place &place, std::string text, std::string help = "",
                     std::vector<Note> notes = {});
    Finding &add(Severity severity, Rule rule, const Place &place, std::string text, std::string help = "",
                 std::vector<Note> notes = {});

    // By place; what is about the whole file comes first.
    std::vector<Finding> sorted() const;

private:
    std::vector<Finding> m_findings;
};

// A text of the file for a message: in single quotes, printable, cut when it is long.
std::string in_apostrophes(const std::string &text);

// "write TEXT"; "" when the text is too long for a help, or cannot be seen as it is.
std::string help_to_write(const std::string &text);

// "1 line", "2 lines".
std::string counted(size_t number, const char *thing);
