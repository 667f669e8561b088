#include "stsimage/process_end.h"

#include <pthread.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <new>
#include <thread>
#include <utility>

#include "stsimage/engine_host.h"
#include "stsimage/never_destroyed.h"

namespace stsimage {

namespace {

std::atomic<int> things_under_way{0};
std::atomic<bool> ends{false};

constexpr std::chrono::milliseconds between_looks(5);

std::atomic<std::chrono::milliseconds> longest_wait{std::chrono::milliseconds(0)};
std::atomic<void (*)()> last_thing{nullptr};

// Whoever begins after ends has been set only sees that, so what has once been seen to have ended has.
bool have_all_ended() {
    const auto until = std::chrono::steady_clock::now() + longest_wait.load();
    while (things_under_way > 0) {
        if (std::chrono::steady_clock::now() > until)
            return false;
        std::this_thread::sleep_for(between_looks);
    }
    return true;
}

void end_all() {
    if (ends)
        return;
    give_up_open_at_end();
    ends = true;
    if (have_all_ended())
        last_thing.load()();
}

// Those under way are the parent's.
void begin_anew() {
    things_under_way = 0;
    ends = false;
}

[[maybe_unused]] const int heeds_forks = pthread_atfork(nullptr, nullptr, begin_anew);

}  // namespace

void heed_process_end(std::chrono::milliseconds longest, void (*last)()) {
    longest_wait = longest;
    last_thing = last;
    std::atexit(end_all);
}

void keep_for_ever(std::shared_ptr<void> work) noexcept {
    struct Kept {
        NeverDestroyed<std::shared_ptr<void>> work;
        Kept *before = nullptr;
    };
    static std::atomic<Kept *> last{nullptr};
    NeverDestroyed<std::shared_ptr<void>> without_memory;
    auto *const kept = new (std::nothrow) Kept;
    *(kept != nullptr ? kept->work : without_memory) = std::move(work);
    if (kept == nullptr)
        return;
    kept->before = last;
    while (!last.compare_exchange_weak(kept->before, kept))
        continue;
}

bool process_ends() { return ends; }
bool is_end_near() { return ends || time_left_at_end().count() == 0; }

UnderWay::UnderWay() { ++things_under_way; }
UnderWay::~UnderWay() { --things_under_way; }

}  // namespace stsimage
