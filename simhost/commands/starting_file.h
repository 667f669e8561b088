// A .sim file to start from.
#pragma once

#include <string>
#include <vector>

#include "simhost/host/server.h"

struct StartingPoint {
    ServerKind kind = ServerKind::disk_array;
    std::string prefix;              // names the file
    std::string array;               // a Copan array's name
    std::vector<std::string> hosts;  // that may use the pools of a disk array
    std::string storage_dir;         // existing directory below which the storage directories are made
};

// The file's text.
std::string starting_file(const StartingPoint &start);
// What it means, key by key, for people: the format has no comments.
std::string explain_starting_file(const StartingPoint &start);

// Throws UsageError when a name or a path cannot stand in such a file.
void demand_usable(const StartingPoint &start);
