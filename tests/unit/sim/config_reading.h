// A configuration text read into tables of its own.
#pragma once

#include <cstdio>
#include <string>

#include "sim/config_file.h"
#include "sim/config_reader.h"
#include "tests/support/captured_output.h"

// As much of a disk array as the reader fills.
class ConfigReading {
public:
    ConfigReading() = default;
    // With tables of these sizes to begin with.
    ConfigReading(size_t diskgroup_slots, size_t enclosure_slots)
        : diskgroups(diskgroup_slots), enclosures(enclosure_slots) {}
    explicit ConfigReading(const std::string &text) {
        const File file(fmemopen(const_cast<char *>(text.data()), text.size(), "r"));
        read(file.get());
    }
    ~ConfigReading() {
        for (size_t i = 0; i < diskgroups.size(); ++i)
            release_lists(diskgroups[i]);
        for (size_t i = 0; i < enclosures.size(); ++i)
            release_lists(enclosures[i]);
    }
    ConfigReading(const ConfigReading &) = delete;
    ConfigReading &operator=(const ConfigReading &) = delete;

    void read(FILE *file) {
        const CapturedOutput captured;
        read_disk_array(file, diskgroups, enclosures, {mount_path, mount_behavior, udid_token});
        output = captured.text();
    }

    DiskGroupTable diskgroups{10};
    EnclosureTable enclosures{5};
    Name mount_path;
    Name mount_behavior{"SUCCESS"};
    Name udid_token;
    std::string output;  // what the reader printed
};
