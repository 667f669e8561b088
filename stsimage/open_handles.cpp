#include "stsimage/open_handles.h"

#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <mutex>

#include "stsimage/call_patience.h"
#include "stsimage/never_destroyed.h"

namespace stsimage {

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::milliseconds;

// A process shall end although an engine does not answer.
constexpr std::chrono::seconds longest_at_end(5);

std::mutex users_mutex;
uint64_t users = 0;

NeverDestroyed<HandleTable<Image>> images;
NeverDestroyed<HandleTable<ImageList>> lists;

// Once a process ends, and until when it may wait. A process that is forked meanwhile is another one.
std::atomic<pid_t> ending_process{0};
std::atomic<Clock::time_point> end_of_waiting{};

[[maybe_unused]] const int given_up_at_end = std::atexit(give_up_open_at_end);

}  // namespace

HandleTable<Image> &open_images() { return *images; }
HandleTable<ImageList> &open_lists() { return *lists; }

void begin_use() {
    const std::lock_guard<std::mutex> lock(users_mutex);
    ++users;
}

void end_use() {
    const CallPatience patience;
    // They are closed when others may use the library again.
    HandleTable<Image>::Objects ended_images;
    HandleTable<ImageList>::Objects ended_lists;
    const std::lock_guard<std::mutex> lock(users_mutex);
    if (users == 0 || --users > 0)
        return;
    ended_images = images->take_all();
    ended_lists = lists->take_all();
}

void give_up_open_at_end() {
    const CallPatience patience;
    if (ending_process != getpid()) {
        end_of_waiting = Clock::now() + longest_at_end;
        ending_process = getpid();
    }
    note_time_out(time_left_at_end());
    images->take_all();
    lists->take_all();
}

Milliseconds time_left_at_end() {
    if (ending_process != getpid())
        return Milliseconds::max();
    const Clock::duration left = end_of_waiting.load() - Clock::now();
    return std::max(Milliseconds::zero(), std::chrono::duration_cast<Milliseconds>(left));
}

}  // namespace stsimage
