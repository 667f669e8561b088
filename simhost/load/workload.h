// What a run of "simhost load" does: how many streams, which operations, how much, for how long.
#pragma once

#include <array>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "simhost/load/size_distribution.h"

// X(name, what it does) for every operation.
#define LOAD_OPERATIONS(X)                                                            \
    X(backup, "write an image and close it; one that is there is replaced")           \
    X(restore, "read a whole image, of this stream or of another")                    \
    X(verify, "read parts of an image")                                               \
    X(expire, "delete an image and see that it is gone")                              \
    X(list, "list all images of the LSU")                                             \
    X(properties, "ask for the properties of an image, of its LSU and of the server") \
    X(copy, "let the plug-in copy an image onto another of the stream")               \
    X(mount, "mount a volume of the pool and unmount it (disk arrays)")               \
    X(session, "close the server, open it again and list what its hosts may use")

enum class Operation : uint8_t {
#define LOAD_ENUMERATOR(name, what) name,
    LOAD_OPERATIONS(LOAD_ENUMERATOR)
#undef LOAD_ENUMERATOR
        count
};
constexpr size_t operation_count = static_cast<size_t>(Operation::count);
const char *operation_name(Operation operation);
const char *operation_meaning(Operation operation);

// Weights of operations, not all 0.
using OperationMix = std::array<unsigned, operation_count>;

struct Workload {
    unsigned processes = 1;
    unsigned streams = 4;          // threads, in each process
    unsigned images = 16;          // that each stream keeps at most
    double duration_seconds = 10;  // 0: until operations or bytes are reached
    uint64_t operations = 0;       // of each stream; 0: no limit
    uint64_t bytes = 0;            // moved by all streams together; 0: no limit
    OperationMix mix;              // see the constructor
    SizeDistribution sizes{"4K..4M"};
    uint64_t chunk_bytes = 1 << 20;  // of one read or write call
    double rate = 0;                 // operations a second of all streams together; 0: as fast as it goes
    unsigned compressible_percent = 50;
    uint64_t seed = 1;
    double kill_every_seconds = 0;  // 0: no process is killed
    double hang_seconds = 30;       // a call that takes longer hangs
    std::set<int32_t> expected;     // statuses that are refusals, no broken promises
    bool deaths_expected = false;   // a process that dies by itself counts as killed

    Workload();
    unsigned total_streams() const { return processes * streams; }
};

// A workload worth running under a name.
struct Profile {
    const char *name;
    const char *what;
    std::vector<std::pair<const char *, const char *>> settings;  // name and value, as in a file
};
const std::vector<Profile> &load_profiles();
