// What the checker takes a file to say, to be compared with what the plug-in lists.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "simhost/check/value.h"

enum class Grammar {
    array,  // as Kelvarpool.sim is read: the enclosures become the pools
    copan
};

// Where a key of a section was last set, and to what.
struct SetKey {
    std::string key;
    Place place;
    std::string text;
};

// The few keys of a section.
class SetKeys {
public:
    // Null when the key was not set.
    const SetKey *find(const std::string &key) const;
    bool has(const std::string &key) const { return find(key) != nullptr; }
    void set(const std::string &key, const Place &place, const std::string &text);

private:
    std::vector<SetKey> m_keys;
};

// A DISKGROUP or ENCLOSURE section.
struct PoolOutline {
    ListedName name;
    std::vector<ListedName> disks;
    std::vector<ListedName> volumes;
    std::vector<ListedName> hosts;  // for an enclosure without HOSTS, those that it takes from a disk group
    bool has_hosts = false;
    uint64_t disk_size = 0;
    bool disk_size_is_as_written = false;
    std::string storage_dir;
    SetKeys keys;
};

// A STORAGE_SERVER section.
struct ServerOutline {
    ListedName name;
    std::vector<ListedName> volumes;
    std::optional<std::string> storage_dir;
    bool is_read = true;  // false behind the line that ends the reading
    SetKeys keys;
};

struct Outline {
    Grammar grammar = Grammar::array;
    bool has_lost_header = false;  // a line that was meant as a header and is none

    std::vector<PoolOutline> diskgroups;
    std::vector<PoolOutline> pools;  // the enclosures
    std::string mount_behavior = "SUCCESS";
    std::string udid_token;
    std::vector<size_t> invalid_lines;  // for which the plug-in prints "Invalid line: N"

    std::vector<ServerOutline> servers;
    bool reading_ends = false;  // at a line without '='
};

// "2 pools, 14 volumes, 3 hosts" or "1 server, 3 volumes".
std::string contents_summary(const Outline &outline);

// The sections of a name without its domain belong to the same server.
std::string short_server_name(const std::string &name);
