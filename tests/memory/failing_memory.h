// Memory that runs out when a test wants it to, and what of it is in use.
//
// A program that links this file gets its memory from it: through operator new, and, but for the sanitizers, which bring
// their own, through the C library's functions and mmap too.
#pragma once

#include <cstdint>

// While it lives, one allocation of this thread fails.
class FailingAllocation {
public:
    // The n-th from now on; n begins at 1.
    explicit FailingAllocation(int n);
    ~FailingAllocation();
    FailingAllocation(const FailingAllocation &) = delete;
    FailingAllocation &operator=(const FailingAllocation &) = delete;

    // Whether there was an n-th one.
    static bool has_failed();
};

// How many pieces of memory the process has in use.
int64_t pieces_in_use();
