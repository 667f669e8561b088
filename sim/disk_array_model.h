// The records of a simulated disk array.
#pragma once

#include <cstdint>
#include <string>

#include "sim/name_types.h"

// A record is copied shallowly: the table that holds it owns what its pointers point to, and releases it with
// release_lists. Of the lists of a section that was read, only hosts is null where the file gave none.

// One disk group: a pool of disks with its volumes and the hosts that may use it.
struct diskgroup_t {
    Name name;
    NameList *disks = nullptr;  // in file order
    HostSet *hosts = nullptr;
    NameList *volumes = nullptr;                       // in file order
    uint64_t disk_size = 0;                            // bytes, of each disk
    uint64_t volume_size = 0;                          // bytes, of each volume
    Name storage_dir;                                  // of the file; read through storage_dir_text
    const std::string *default_storage_dir = nullptr;  // set by the first mount of a group without storage_dir
};

// One enclosure: disks and hosts, without volumes.
struct enclosure_t {
    Name name;
    Name label;
    NameList *disks = nullptr;  // in file order
    HostSet *hosts = nullptr;
    Name storage_dir;        // read through c_text
    uint64_t disk_size = 0;  // bytes, of each disk
};

using DiskGroupTable = ACE_Array<diskgroup_t>;
using EnclosureTable = ACE_Array<enclosure_t>;

// Deletes what the record points to and clears the pointers.
void release_lists(diskgroup_t &group);
void release_lists(enclosure_t &enclosure);

// The directory that holds the group's storage: the file's, or the default that a mount has set; "" before that.
const char *storage_dir_text(const diskgroup_t &group);

// Sets the default directory of a group that has none. Threads may do so at once: the first one's stays. Throws
// std::bad_alloc, with nothing set.
void set_default_storage_dir(diskgroup_t &group, const std::string &path);

// The number of names; 0 for a null list.
size_t name_count(const NameList *names);
