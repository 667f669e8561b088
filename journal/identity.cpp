#include "journal/identity.h"

#include <pthread.h>
#include <unistd.h>

#include <atomic>

#include "base/thread_value.h"

namespace journal {

namespace {

std::atomic<uint32_t> fork_counter{0};
std::atomic<uint32_t> own_process{0};

// The count of forks in the upper half, the thread in the lower.
base::ThreadValue known_thread;

void in_child() {
    own_process.store(static_cast<uint32_t>(getpid()), std::memory_order_relaxed);
    fork_counter.fetch_add(1, std::memory_order_release);
}

}  // namespace

void watch_forks() noexcept {
    // The handler goes with the library when that is unloaded.
    static const bool watched = pthread_atfork(nullptr, nullptr, in_child) == 0;
    static_cast<void>(watched);
    own_process.store(static_cast<uint32_t>(getpid()), std::memory_order_relaxed);
}

uint32_t fork_count() noexcept { return fork_counter.load(std::memory_order_acquire); }

Identity identity() noexcept {
    const uint64_t fork = fork_count();
    uint64_t known = known_thread.get();
    if (known == 0 || known >> 32 != fork) {
        known = fork << 32 | static_cast<uint32_t>(gettid());
        known_thread.set(known);
    }
    return {own_process.load(std::memory_order_relaxed), static_cast<uint32_t>(known)};
}

}  // namespace journal
