#include "stsimage/call_patience.h"

#include <gtest/gtest.h>

#include <thread>

using namespace std::chrono_literals;
using stsimage::CallPatience;
using stsimage::note_time_out;
using stsimage::time_left_for_call;

namespace {

constexpr auto unlimited = std::chrono::milliseconds::max();

TEST(CallPatience, HasNoEndUntilSomethingWasNotAnswered) {
    const CallPatience patience;
    EXPECT_EQ(time_left_for_call(), unlimited);
    note_time_out(1h);
    EXPECT_LE(time_left_for_call(), 1h);
    EXPECT_GT(time_left_for_call(), 59min);
}

TEST(CallPatience, IsNotMadeLongerByASecondTimeOut) {
    const CallPatience patience;
    note_time_out(1ms);
    note_time_out(1h);
    std::this_thread::sleep_for(2ms);
    EXPECT_EQ(time_left_for_call(), 0ms);
}

TEST(CallPatience, IsWholeAgainInTheNextCall) {
    {
        const CallPatience patience;
        note_time_out(0ms);
        EXPECT_EQ(time_left_for_call(), 0ms);
    }
    EXPECT_EQ(time_left_for_call(), unlimited);
    const CallPatience patience;
    EXPECT_EQ(time_left_for_call(), unlimited);
}

TEST(CallPatience, OfACallWithinACallIsItsOwn) {
    const CallPatience outer;
    note_time_out(0ms);
    {
        const CallPatience inner;
        EXPECT_EQ(time_left_for_call(), unlimited);
        note_time_out(1h);
    }
    EXPECT_EQ(time_left_for_call(), 0ms);
}

TEST(CallPatience, IsNotForThreadsThatDoNoCall) {
    const CallPatience patience;
    note_time_out(0ms);
    std::thread([] {
        EXPECT_EQ(time_left_for_call(), unlimited);
        note_time_out(0ms);
        EXPECT_EQ(time_left_for_call(), unlimited);
    }).join();
}

}  // namespace
