#include "journal/identity.h"

#include <pthread.h>
#include <unistd.h>

#include <atomic>

namespace journal {

namespace {

std::atomic<uint32_t> forks{0};
std::atomic<uint32_t> process{0};

struct Known {
    uint32_t fork;
    uint32_t tid;
};
thread_local Known known = {0, 0};

void in_child() {
    process.store(static_cast<uint32_t>(getpid()), std::memory_order_relaxed);
    forks.fetch_add(1, std::memory_order_release);
}

}  // namespace

void watch_forks() noexcept {
    // The handler goes with the library when that is unloaded.
    static const bool watched = pthread_atfork(nullptr, nullptr, in_child) == 0;
    static_cast<void>(watched);
    process.store(static_cast<uint32_t>(getpid()), std::memory_order_relaxed);
}

uint32_t fork_count() noexcept { return forks.load(std::memory_order_acquire); }

Identity identity() noexcept {
    const uint32_t fork = fork_count();
    if (known.tid == 0 || known.fork != fork)
        known = {fork, static_cast<uint32_t>(gettid())};
    return {process.load(std::memory_order_relaxed), known.tid};
}

}  // namespace journal
