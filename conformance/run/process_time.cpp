#include "conformance/run/process_time.h"

#include <fmt/format.h>

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "conformance/watch/task_state.h"

namespace conformance {

namespace fs = std::filesystem;

namespace {

using Duration = ProcessTime::Duration;

Duration processor_time_of(pid_t process) {
    clockid_t clock;
    timespec time;
    if (clock_getcpuclockid(process, &clock) != 0 || clock_gettime(clock, &time) != 0)
        return {};
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

struct Look {
    Duration processor_time{};
    bool is_asleep = true;
};

// The process, what it has started, and so on. What ends meanwhile is not there any more.
Look look_at(pid_t process) {
    Look look;
    std::vector<pid_t> family = {process};
    for (size_t i = 0; i < family.size(); ++i) {
        look.processor_time += processor_time_of(family[i]);
        std::error_code error;
        for (auto task = fs::directory_iterator(fmt::format("/proc/{}/task", family[i]), error);
             !error && task != fs::directory_iterator(); task.increment(error)) {
            look.is_asleep = look.is_asleep && task_state(task->path().string()) != 'R';
            std::ifstream children(task->path() / "children");
            for (pid_t child = 0; children >> child;)
                family.push_back(child);
        }
    }
    return look;
}

}  // namespace

ProcessTime::ProcessTime(pid_t process) : process_(process), last_look_(std::chrono::steady_clock::now()) {}

Duration ProcessTime::spent() {
    const Look look = look_at(process_);
    const auto now = std::chrono::steady_clock::now();
    // A child that has ended takes its time with it.
    const Duration ran = std::max(look.processor_time - processor_time_, Duration{});
    spent_ += look.is_asleep ? now - last_look_ : ran;
    processor_time_ = look.processor_time;
    last_look_ = now;
    return spent_;
}

}  // namespace conformance
