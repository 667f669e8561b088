// The capability bits of a server: which are set, and by which kinds of server.
//
// The bits' own names are the framework's and not known here.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "stspi/sts_types.h"

struct CapabilityWord {
    size_t offset;  // in the record
    uint32_t value;
    uint32_t every_server;     // bits that every server announces
    uint32_t disk_arrays;      // bits that disk arrays announce besides
    std::string announced_by;  // "every server", "disk arrays", "every server and disk arrays", "unknown"
};

// The words that are not 0, in the record's order.
std::vector<CapabilityWord> capability_words(const sts_server_info_t &info);

// "8, 18, 28".
std::string bit_list(uint32_t value);
