// What a process uses of the system.
#pragma once

#include <cstdint>

struct ProcessUse {
    uint64_t resident_bytes = 0;
    uint64_t heap_bytes = 0;  // in use, of what malloc gives
    uint64_t descriptors = 0;
    uint64_t threads = 0;
};

// The less of each.
ProcessUse least_of(const ProcessUse &a, const ProcessUse &b);

// Of this process.
ProcessUse process_use();
