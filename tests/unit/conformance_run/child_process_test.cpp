#include "conformance/run/child_process.h"

#include <gtest/gtest.h>

#include <thread>

#include "busy_child.h"

using conformance::ChildProcess;
using conformance::wait_for_any;
using namespace std::chrono_literals;

namespace {

void expect_time_out(const std::function<void(int)> &work) {
    ChildProcess child(work, 300ms);
    EXPECT_EQ(wait_for_any({&child}, [] { return false; }), 0U);
    EXPECT_TRUE(child.timed_out());
    EXPECT_GE(child.seconds(), 0.3);
    EXPECT_NE(child.end_text().find("no end within 0 s"), std::string::npos) << child.end_text();
}

}  // namespace

TEST(ChildProcess, ThatSleepsForEverIsEnded) {
    expect_time_out([](int) { sleep_for_ever(); });
}

TEST(ChildProcess, ThatRunsForEverIsEnded) {
    expect_time_out([](int) { spin_for_ever(); });
}

TEST(ChildProcess, ThatGetsNoProcessorHasItsTimeLeft) {
    const Child busy(spin_for_ever);
    put_on_one_processor(busy.process());
    ChildProcess starved(
        [](int) {
            put_on_one_processor(0);
            give_way_to_all(0);
            spin_for_ever();
        },
        480ms);
    const auto start = ChildProcess::Clock::now();
    while (ChildProcess::Clock::now() - start < 1s) {
        std::this_thread::sleep_for(20ms);
        ASSERT_FALSE(starved.is_out_of_time());
    }
}
