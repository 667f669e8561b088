#include "journal/identity.h"

#include <pthread.h>
#include <unistd.h>

#include <atomic>

namespace journal {

namespace {

std::atomic<uint32_t> fork_counter{0};
std::atomic<uint32_t> own_process{0};

struct Known {
    uint32_t fork;
    uint32_t tid;
};
thread_local Known known_thread = {0, 0};

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
    const uint32_t fork = fork_count();
    if (known_thread.tid == 0 || known_thread.fork != fork)
        known_thread = {fork, static_cast<uint32_t>(gettid())};
    return {own_process.load(std::memory_order_relaxed), known_thread.tid};
}

}  // namespace journal
