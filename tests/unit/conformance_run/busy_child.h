// Processes that run or sleep for ever, and processors that are too few for them.
#pragma once

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <functional>

class Child {
public:
    explicit Child(const std::function<void()> &work) : process_(fork()) {
        if (process_ != 0)
            return;
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        work();
        _exit(0);
    }
    ~Child() {
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
    }
    Child(const Child &) = delete;
    Child &operator=(const Child &) = delete;

    pid_t process() const { return process_; }

private:
    pid_t process_;
};

[[noreturn]] inline void sleep_for_ever() {
    for (;;)
        pause();
}

[[noreturn]] inline void spin_for_ever() {
    for (volatile uint64_t turns = 0;; ++turns) {
    }
}

// The same for all.
inline void put_on_one_processor(pid_t process) {
    cpu_set_t all;
    sched_getaffinity(0, sizeof all, &all);
    cpu_set_t one;
    CPU_ZERO(&one);
    for (size_t processor = 0; CPU_COUNT(&one) == 0; ++processor)
        if (CPU_ISSET(processor, &all))
            CPU_SET(processor, &one);
    ASSERT_EQ(sched_setaffinity(process, sizeof one, &one), 0);
}

// What runs when nothing else wants to.
inline void give_way_to_all(pid_t process) {
    const sched_param none{};
    ASSERT_EQ(sched_setscheduler(process, SCHED_IDLE, &none), 0);
}
