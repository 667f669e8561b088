// The names of servers, PREFIX:HOST.
//
// PREFIX.sim describes the server. HOST is a host that may use a disk array's pools, or the name of a Copan array.
#pragma once

#include <string>

// How a server is opened: only a handle made for a list of hosts can list a disk array's pools.
enum class ServerKind { disk_array, copan };

// The part in front of the first ':'; the whole name without one.
std::string prefix_part(const std::string &server_name);
// The part behind the first ':'; "" without one.
std::string host_part(const std::string &server_name);

// Throws UsageError, saying what to write, when a part of the name is missing: a plug-in may open such a name, but no
// server stands behind it.
void demand_server_name(const std::string &server_name);
