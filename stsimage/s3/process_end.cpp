#include "stsimage/s3/process_end.h"

#include <pthread.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <thread>
#include <utility>

namespace stsimage::s3 {

namespace {

std::atomic<int> things_under_way{0};
std::atomic<bool> ends{false};

// A request looks at least once a second whether it is given up.
constexpr auto between_looks = std::chrono::milliseconds(5);
constexpr int most_looks = 1000;

void end_requests() {
    ends = true;
    for (int look = 0; look < most_looks && things_under_way > 0; ++look)
        std::this_thread::sleep_for(between_looks);
}

// Those under way are the parent's.
void forget_those_of_parent() { things_under_way = 0; }

}  // namespace

void heed_process_end() {
    static const int heeded = std::atexit(end_requests) + pthread_atfork(nullptr, nullptr, forget_those_of_parent);
    static_cast<void>(heeded);
}

void leave_to_parent(std::shared_ptr<void> work) {
    struct Left {
        std::shared_ptr<void> work;
        Left *before;
    };
    static std::atomic<Left *> last{nullptr};  // never taken down
    auto *const left = new Left{std::move(work), last};
    while (!last.compare_exchange_weak(left->before, left))
        continue;
}

bool process_ends() { return ends; }

UnderWay::UnderWay() { ++things_under_way; }
UnderWay::~UnderWay() { --things_under_way; }

}  // namespace stsimage::s3
