// Which calls of the plug-in keep memory: while it is watched, every block that a call allocates is remembered with the call
// until it is released. The program defines malloc and its like for that, which the dynamic linker prefers.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace conformance {

struct KeptMemory {
    std::string call;  // its arguments without addresses
    size_t blocks = 0;
    size_t bytes = 0;
};

// One at a time; nothing is watched under a sanitizer, which keeps books of its own.
class AllocationWatch {
public:
    AllocationWatch();
    ~AllocationWatch();
    AllocationWatch(const AllocationWatch &) = delete;
    AllocationWatch &operator=(const AllocationWatch &) = delete;

    // Bytes that calls have allocated since the watch began and nobody has released; the watch goes on.
    static size_t bytes_kept();

    // What calls have allocated since the watch began and nobody has released, the most blocks first.
    static std::vector<KeptMemory> kept();
};

}  // namespace conformance
