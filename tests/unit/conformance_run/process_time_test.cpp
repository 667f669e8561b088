#include "conformance/run/process_time.h"

#include <gtest/gtest.h>

#include <functional>
#include <thread>

#include "busy_child.h"

using conformance::ProcessTime;
using namespace std::chrono_literals;

namespace {

using Clock = std::chrono::steady_clock;

// Until so much is spent: for ever when time stands still.
void expect_to_spend(const std::function<void()> &work, Clock::duration time) {
    const auto start = Clock::now();
    const Child child(work);
    ProcessTime spent(child.process());
    while (spent.spent() < time)
        std::this_thread::sleep_for(20ms);
    EXPECT_GE(Clock::now() - start, time);
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
    give_way_to_all(starved.process());
    ProcessTime spent(starved.process());
    const auto start = Clock::now();
    while (Clock::now() - start < 600ms) {
        std::this_thread::sleep_for(20ms);
        spent.spent();
    }
    EXPECT_LT(spent.spent(), 480ms);
}
