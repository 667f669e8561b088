// The ledger's file: what all processes of one settings file count together. It is mapped, so that nothing is lost when a
// process is killed.
//
// Numbers are in the machine's byte order; times are nanoseconds since 1970. All but the header's first line changes
// while others read.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "filter/rules/function_number.h"

namespace filter {

using SharedNumber = std::atomic<uint64_t>;
static_assert(SharedNumber::is_always_lock_free && sizeof(SharedNumber) == 8);

enum { ledger_processes = 256, ledger_rules = 512, ledger_identities = 16384, ledger_text = 416 };

// A rule is known by its words: it keeps its numbers when the file is read again.
struct RuleSlot {
    SharedNumber key;  // 0: free
    SharedNumber version;
    SharedNumber line;
    SharedNumber matched;
    SharedNumber fired;
    SharedNumber bytes;  // moved by calls that match, where the rule asks for it
    SharedNumber first_match;
    SharedNumber last_match;
    SharedNumber first_fired;
    SharedNumber last_fired;
    SharedNumber free_at;  // rate: when what was moved so far is through, on the monotonic clock
    SharedNumber unused;
    char text[ledger_text];
};
static_assert(sizeof(RuleSlot) == 512);

struct ProcessSlot {
    SharedNumber process;     // its id; 0: free
    SharedNumber start_time;  // as /proc tells it: ids are used again
    SharedNumber version;     // of the settings in force there
    SharedNumber rejected;    // the version that it found wrong, or 0
    SharedNumber since;
    SharedNumber unused[3];
};
static_assert(sizeof(ProcessSlot) == 64);

// How often a rule with a chance has matched calls of one identity.
struct IdentitySlot {
    SharedNumber identity;  // 0: free
    SharedNumber count;
};

constexpr char ledger_magic[] = "stsledg2";

struct LedgerLayout {
    char magic[8];  // ledger_magic
    uint64_t size;
    SharedNumber begun;
    SharedNumber seed;     // drawn when the ledger was begun, for settings that name none
    SharedNumber version;  // of the settings that were taken last
    SharedNumber has_own_seed;
    SharedNumber own_seed;  // the settings'
    SharedNumber seed_is_told;
    alignas(64) pthread_mutex_t lock;  // of all processes, for entering; given up when one dies with it
    alignas(64) SharedNumber unused[48];
    SharedNumber calls[64];  // by function
    ProcessSlot processes[ledger_processes];
    RuleSlot rules[ledger_rules];
    IdentitySlot identities[ledger_identities];
};
static_assert(function_count <= 64 && offsetof(LedgerLayout, calls) == 512);

}  // namespace filter
