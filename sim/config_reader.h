// Reading of the disk-array form of a configuration file.
#pragma once

#include <cstdio>
#include <string>

#include "sim/disk_array_model.h"

// Where the settings that belong to no section go. Texts are kept at their full length, see c_text.
struct GlobalSettings {
    Name &mount_path;  // with its final ';'
    Name &mount_behavior;
    Name &udid_token;
};

// Fills two tables and the global settings from one file. Problems are printed on standard output and reading goes on;
// nothing is thrown for bad input.
class ConfigReader {
public:
    // The tables must hold at least one slot each and no lists.
    ConfigReader(DiskGroupTable &diskgroups, EnclosureTable &enclosures, const GlobalSettings &globals);

    // Reads file to its end, then cuts both tables to the sections read.
    void read(FILE *file);

private:
    enum class Section { none, diskgroup, enclosure };

    void read_line(const std::string &line);
    void open_diskgroup(const char *name);
    void open_enclosure(const char *name);
    bool set_attribute(const std::string &key, const char *value);
    void set_hosts(const char *value);
    void add_disks(const char *value);
    bool add_volumes(const char *value);
    void set_disk_size(const char *value);
    void set_volume_size(const char *value);
    void set_storage_dir(const char *value);
    diskgroup_t &current_diskgroup() { return m_diskgroups[m_diskgroup_count - 1]; }
    enclosure_t &current_enclosure() { return m_enclosures[m_enclosure_count - 1]; }

    DiskGroupTable &m_diskgroups;
    EnclosureTable &m_enclosures;
    GlobalSettings m_globals;
    Section m_section = Section::none;
    size_t m_diskgroup_count = 0;
    size_t m_enclosure_count = 0;
    unsigned long m_line_number = 0;
};
