// Trouble that passes by itself: file systems of a network tell of handles that went stale and of servers that took too long,
// and what they cache may be older than what another host has written.
#pragma once

#include <cstdint>

#include "stsimage/last_error.h"

namespace stsimage {

// Whether the calling thread's latest failure came from the system and is of that kind.
bool last_failure_passes();

// Whether a file lies on a file system that other hosts may write to: any but those that are known to be local. One
// that does not tell its kind is none of these.
bool is_shared(int file);

// Whether this is what a file server answers that has done nothing. After others it may have done what it was asked for, or do it yet.
bool is_refusal(int error);

// Forgets what this host has cached of a file, as far as the file system does.
void drop_cached_data(int file);

// So often something is done, at most, until it succeeds. The waits between come to 1.4 seconds together: what the usual
// file systems cache of names and sizes is a second old at most.
constexpr int most_attempts = 7;

// Waits before the next attempt; the first is 0.
void wait_before_next_attempt(int attempt);

// Does something that leaves nothing behind when it fails, and does it again while the trouble is of that kind.
template <class Operation>
int32_t patiently(Operation operation) {
    const EarlierFailure earlier;
    for (int attempt = 0;; ++attempt) {
        const int32_t status = operation();
        if (status == 0 && attempt > 0)
            earlier.tell_again();
        if (status == 0 || attempt + 1 == most_attempts || !last_failure_passes())
            return status;
        wait_before_next_attempt(attempt);
    }
}

}  // namespace stsimage
