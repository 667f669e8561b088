// The records of a simulated disk array.
#pragma once

#include <cstdint>

#include "sim/name_types.h"

// A record is copied shallowly: the table that holds it owns what its pointers point to, and releases it with
// release_lists. A pointer is null where the file gave no such list.

// One disk group: a pool of disks with its volumes and the hosts that may use it.
struct diskgroup_t {
    Name name;
    NameList *disks = nullptr;  // in file order
    HostSet *hosts = nullptr;
    NameList *volumes = nullptr;  // in file order
    uint64_t disk_size = 0;       // bytes, of each disk
    uint64_t volume_size = 0;     // bytes, of each volume
    Name storage_dir;             // read through c_text
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

// Deletes the record's lists and clears the pointers.
void release_lists(diskgroup_t &group);
void release_lists(enclosure_t &enclosure);

// The number of names; 0 for a null list.
size_t name_count(const NameList *names);

// Cuts a table to its first count slots and gives the memory of the others back. The lists of the slots that go must
// have been released before.
template <class Table>
void cut_table(Table &table, size_t count) {
    copy_exactly(table, count, table);
}
