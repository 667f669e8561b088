// What is seen otherwise when one configuration file takes the place of another.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "simhost/show/view.h"

// One thing that is not as it was. Without a before it is new, without an after it is gone.
struct Change {
    std::string
        what;  // "pool", "volume", "capacity", "volume size", "directory", "hosts", "identifiers", "order", "server"
    std::string name;  // of the pool or server; "POOL:VOLUME" of a volume; "" for the order of pools
    std::string before;
    std::string after;
};

// Who sees it: a host, or a Copan array's server.
struct SeenChanges {
    std::string who;
    std::vector<Change> changes;  // at least one
};

struct Difference {
    Grammar grammar = Grammar::array;
    std::vector<SeenChanges> seen;  // in the order of the names
    size_t compared = 0;            // hosts or servers of both files
    std::string mounts_before;      // in words; the same twice when mounts end as they did
    std::string mounts_after;

    bool is_none() const { return seen.empty() && mounts_before == mounts_after; }
};

// Both of one grammar.
Difference difference_of(const View &before, const View &after);

// For people. Those who see the same changes are told together.
std::string difference_text(const Difference &difference);
// For programs.
nlohmann::ordered_json difference_json(const Difference &difference);
