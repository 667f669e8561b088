// What was found in a history, as the process that plays it leaves it to the one that waits.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

namespace conformance {

// Against the model one plug-in plays; otherwise one and then the other.
enum PlayPhase : uint32_t { against_model, first_plays, second_plays };

// Lives in memory that both processes share.
struct SharedFinding {
    std::atomic<int32_t> call;    // index of the call that runs, or the number of calls: what is looked at in the end
    std::atomic<uint32_t> phase;  // PlayPhase: whose calls run
    std::atomic<uint32_t> finished;  // 1 when all was played
    std::atomic<uint64_t> calls;     // made
    uint32_t differs;                // 1: the texts below say in what
    char what[128];                  // the call's entry point and the aspect: the same for the same mistake
    char expected[8192];
    char got[16384];
};

struct HistoryFinding {
    enum Kind : uint8_t { none, differs, crash, hang } kind = none;
    int call = 0;
    std::string what;
    std::string expected;
    std::string got;

    // Of the same mistake, as far as can be told.
    bool is_like(const HistoryFinding &other) const { return kind == other.kind && what == other.what; }
};

}  // namespace conformance
