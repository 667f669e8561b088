// What was found in a history, as the process that plays it leaves it to the one that waits, and this one to the one that tells it.
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace conformance {

struct HistoryFinding {
    enum Kind : uint8_t { none, differs, crash, hang } kind = none;
    int call = 0;
    std::string what;
    std::string expected;
    std::string got;
    std::vector<std::optional<int32_t>>
        statuses;  // what the calls gave, up to the last that returned; a few hundred at most

    // What is said of a crash while several calls run: which of them it was is not known.
    static constexpr char one_of_several[] = "one of the calls at the same time";

    // Of the same mistake, as far as can be told.
    bool is_like(const HistoryFinding &other) const {
        return kind == other.kind && (what == other.what || other.what == one_of_several);
    }
};

// Against the model one plug-in plays; otherwise one and then the other.
enum PlayPhase : uint32_t { against_model, first_plays, second_plays };

// Lives in memory that processes share.
struct SharedFinding {
    std::atomic<int32_t> call;    // index of the call that runs, of several the first, or the number of calls: what is
                                  // looked at in the end
    std::atomic<uint32_t> phase;  // PlayPhase: whose calls run
    std::atomic<uint32_t> finished;  // 1 when all was played
    std::atomic<uint64_t> calls;     // made
    HistoryFinding::Kind kind;
    char what[128];  // the call's entry point and the aspect: the same for the same mistake
    char expected[8192];
    char got[16384];
    struct Progress {
        bool has_begun;
        bool has_returned;
        int32_t status;
    } progress[512];  // by index of the call
};

void put_begin(SharedFinding &shared, size_t call);
void put_status(SharedFinding &shared, size_t call, int32_t status);
// Texts are cut to their fields. Statuses that are there already stay.
void put_finding(SharedFinding &shared, const HistoryFinding &finding);
// When the process has ended before it came to the end, call is the first that has begun and not returned.
HistoryFinding finding_in(const SharedFinding &shared);

}  // namespace conformance
