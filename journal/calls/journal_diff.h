// What differs between two journals, thread by thread and call by call.
#pragma once

#include <string>
#include <vector>

#include "journal/calls/call_stream.h"

struct ValueDifference {
    std::string path;  // "results.out_name"
    Json a;            // null where there is none
    Json b;
};

struct CallDifference {
    enum class Kind { changed, only_a, only_b };
    Kind kind;
    std::string entry_point;
    uint64_t call_a = 0;  // number in its thread, 0 where there is none
    uint64_t call_b = 0;
    std::vector<ValueDifference> values;  // of a changed call
    Json call;                            // one that is in one journal only
};

// Two threads that belong together, or one without a partner.
struct ThreadDifference {
    ThreadNumber a;  // process 0: none
    ThreadNumber b;
    uint64_t same = 0;  // calls
    std::vector<CallDifference> differences;
};

struct JournalDifference {
    std::vector<ThreadDifference> threads;
    uint64_t same = 0;
    uint64_t differing = 0;
};

// Threads whose calls are all the same belong together, the others in their order. Masks count what they met in both.
// Throws ReadError for a file that is no journal.
JournalDifference compare_journals(const std::string &a, const std::string &b, std::vector<Mask> &masks);
