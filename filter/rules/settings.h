// The settings file of the filter, read whole: docs/faults.md describes it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "filter/rules/rule.h"

namespace filter {

// What the journal keeps of the bytes that are read and written.
enum class JournalData { sizes, hashes, bytes };

// What one filter is to do. A file has more than one section when filters wrap each other: each "plugin" line but the
// first begins one, which is meant for the filter that the "plugin" line before it names.
struct Section {
    std::string plugin;  // "" when no line names one
    size_t plugin_line = 0;
    std::string journal;  // "" when no line asks for one
    size_t journal_line = 0;
    uint64_t journal_bytes = 0;  // 0: as the journal sees fit
    bool journal_grows = false;  // up to its size, instead of starting over
    JournalData journal_data = JournalData::hashes;
    bool journal_output = false;  // standard output too
    std::string ledger;           // "" for the file's own path and ".ledger"
    uint64_t seed = 0;
    bool has_seed = false;
    std::vector<Rule> rules;
};

struct Finding {
    size_t line = 0;  // from 1
    size_t column = 0;
    size_t length = 0;
    std::string text;
    std::string help;  // what to write instead; may be empty
};

struct Settings {
    std::vector<Section> sections;  // at least one
    std::vector<Finding> errors;    // in the order of the lines; when there are any, the sections are incomplete
};

// Never throws but for memory. Every mistake is found in one go, at most one a line.
Settings read_settings(std::string_view text);

// "file:line:column: error: text" and the help, for standard error.
std::string finding_text(const std::string &file, const Finding &finding);

}  // namespace filter
