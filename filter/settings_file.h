// The settings file on disk, and the part of it that is meant for this filter.
#pragma once

#include <sys/stat.h>

#include <string>

#include "filter/rules/settings.h"

namespace filter {

// $STSPI_FILTER, or else /etc/quillmere/filter.conf.
std::string settings_path();

// What tells one version of a file from the next without reading it.
struct FileMark {
    dev_t device = 0;
    ino_t number = 0;
    off_t size = 0;
    timespec changed = {};
    timespec written = {};

    bool operator==(const FileMark &other) const;
};
// All zero for a file that is not there.
FileMark mark_of_file(const std::string &path);

struct ReadSettings {
    Section section;
    std::string text;  // of the file
    uint64_t version = 0;
};

// Reads the file and picks the section of the filter library at own_path: that behind the "plugin" line that names it,
// or else the first. $STSPI_FILTER_PLUGIN, $STSPI_FILTER_JOURNAL and $STSPI_FILTER_LEDGER, where they are set, stand in
// place of what the first section says; the journal then grows, and
// has standard output too. Throws std::runtime_error, whose text tells file, line and column of every
// mistake, one a line.
ReadSettings read_settings_file(const std::string &path, const std::string &own_path);

}  // namespace filter
