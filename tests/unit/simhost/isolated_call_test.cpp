#include "simhost/host/isolated_call.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>

TEST(IsolatedCall, GivesTheStatus) {
    EXPECT_EQ(call_isolated([] { return 2060016; }).status, 2060016);
    EXPECT_EQ(call_isolated([] { return -2; }).status, -2);
}

TEST(IsolatedCall, EndsOneThatHangs) {
    // What is left of the time until SIGALRM ends the process.
    const IsolatedOutcome outcome = call_isolated([] { return static_cast<int32_t>(alarm(0)); });
    EXPECT_GT(outcome.status.value_or(0), 0);
}

TEST(IsolatedCall, KeepsChangesAway) {
    int value = 1;
    call_isolated([&value] { return value = 2; });
    EXPECT_EQ(value, 1);
}

TEST(IsolatedCall, TellsTheSignalThatEndedIt) {
    const IsolatedOutcome outcome = call_isolated([]() -> int32_t {
        std::signal(SIGKILL, SIG_DFL);
        raise(SIGKILL);
        return 0;
    });
    EXPECT_FALSE(outcome.status);
    EXPECT_EQ(outcome.signal, SIGKILL);
}

TEST(IsolatedCall, TellsThatTheProcessEnded) {
    const IsolatedOutcome outcome = call_isolated([]() -> int32_t { _exit(3); });
    EXPECT_FALSE(outcome.status);
    EXPECT_EQ(outcome.signal, 0);
}
