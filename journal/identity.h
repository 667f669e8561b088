// Which process and thread this is, without a system call once known, and right on both sides of a fork.
#pragma once

#include <cstdint>

namespace journal {

struct Identity {
    uint32_t pid;
    uint32_t tid;
};

// Before the first use of the others; again does nothing.
void watch_forks() noexcept;

// Counts the forks that this process descends from since watch_forks.
uint32_t fork_count() noexcept;

Identity identity() noexcept;

}  // namespace journal
