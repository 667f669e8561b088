// Reading of the disk-array form of a configuration file.
#pragma once

#include <cstdio>

#include "sim/disk_array_model.h"

// Where the settings that belong to no section go. Texts are kept at their full length, see c_text.
struct GlobalSettings {
    Name &mount_path;  // with its final ';'
    Name &mount_behavior;
    Name &udid_token;
};

// Fills two tables and the global settings from one file, which is read to its end; then the tables are cut to the
// sections read. Problems are printed on standard output and reading goes on; nothing but std::bad_alloc is thrown.
//   diskgroups, enclosures   of any size, with slots that hold no lists; they grow as sections are read. After an
//                            exception the caller releases the lists of what was read
void read_disk_array(FILE *file, DiskGroupTable &diskgroups, EnclosureTable &enclosures, const GlobalSettings &globals);
