// The time that a process has spent: running, or asleep. While it is ready to run and no processor is free for it, that time
// stands still, so that a limit of it does not depend on what else the machine does.
#pragma once

#include <sys/types.h>

#include <chrono>

namespace conformance {

class ProcessTime {
public:
    using Duration = std::chrono::steady_clock::duration;

    // Begins now. The process is a child of this one that has not been waited for.
    explicit ProcessTime(pid_t process);

    // Looks at the process and its children, and gives what they have spent so far. Asked a few times a second: what was
    // between two looks is judged by the second. The processor time counts; when all of them are asleep, all of the time.
    Duration spent();

private:
    pid_t process_;
    std::chrono::steady_clock::time_point last_look_;
    Duration processor_time_{};
    Duration spent_{};
};

}  // namespace conformance
