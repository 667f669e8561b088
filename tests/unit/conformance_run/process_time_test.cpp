#include "conformance/run/process_time.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <functional>
#include <thread>

using conformance::ProcessTime;
using namespace std::chrono_literals;

namespace {

using Clock = std::chrono::steady_clock;

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

[[noreturn]] void sleep_for_ever() {
    for (;;)
        pause();
}

[[noreturn]] void spin_for_ever() {
    for (volatile uint64_t turns = 0;; ++turns) {
    }
}

// Until so much is spent: for ever when time stands still.
void expect_to_spend(const std::function<void()> &work, Clock::duration time) {
    const Child child(work);
    const auto start = Clock::now();
    ProcessTime spent(child.process());
    while (spent.spent() < time)
        std::this_thread::sleep_for(20ms);
    EXPECT_GE(Clock::now() - start, time);
}

// The same for all.
void put_on_one_processor(pid_t process) {
    cpu_set_t all;
    sched_getaffinity(0, sizeof all, &all);
    cpu_set_t one;
    CPU_ZERO(&one);
    for (size_t processor = 0; CPU_COUNT(&one) == 0; ++processor)
        if (CPU_ISSET(processor, &all))
            CPU_SET(processor, &one);
    ASSERT_EQ(sched_setaffinity(process, sizeof one, &one), 0);
}

}  // namespace

TEST(ProcessTime, GoesOnWhileTheProcessSleeps) { expect_to_spend(sleep_for_ever, 200ms); }

TEST(ProcessTime, GoesOnWhileTheProcessRuns) { expect_to_spend(spin_for_ever, 100ms); }

TEST(ProcessTime, GoesOnWhileItWaitsForAChildThatSleeps) {
    expect_to_spend(
        [] {
            const Child child(sleep_for_ever);
            waitpid(child.process(), nullptr, 0);
        },
        200ms);
}

TEST(ProcessTime, StandsStillWhileNoProcessorIsFree) {
    const Child busy(spin_for_ever);
    const Child starved(spin_for_ever);
    put_on_one_processor(busy.process());
    put_on_one_processor(starved.process());
    const sched_param none{};
    ASSERT_EQ(sched_setscheduler(starved.process(), SCHED_IDLE, &none), 0);
    ProcessTime spent(starved.process());
    const auto start = Clock::now();
    while (Clock::now() - start < 600ms) {
        std::this_thread::sleep_for(20ms);
        spent.spent();
    }
    EXPECT_LT(spent.spent(), 480ms);
}
