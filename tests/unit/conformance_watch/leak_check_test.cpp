#include "conformance/watch/leak_check.h"

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <string>

using conformance::child_processes;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

pid_t child_that(void (*work)()) {
    const pid_t child = fork();
    if (child == 0) {
        work();
        _exit(0);
    }
    return child;
}

void wait_for_the_end(pid_t child) {
    siginfo_t ended;
    ASSERT_EQ(waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOWAIT), 0);
}

}  // namespace

TEST(ChildProcesses, HoldOneThatRuns) {
    const pid_t child = child_that([] { pause(); });
    EXPECT_THAT(child_processes(), ElementsAre(std::to_string(child)));
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
}

TEST(ChildProcesses, HoldOneThatIsNotWaitedFor) {
    const pid_t child = child_that([] {});
    wait_for_the_end(child);
    EXPECT_THAT(child_processes(), ElementsAre(std::to_string(child)));
    waitpid(child, nullptr, 0);
    EXPECT_THAT(child_processes(), IsEmpty());
}

// Where two processors are, about each fifth is in the kernel's list for a moment longer than it can be waited for.
TEST(ChildProcesses, DoNotHoldOneThatEndedWhileChildSignalsAreIgnored) {
    std::signal(SIGCHLD, SIG_IGN);
    for (int round = 0; round < 300; ++round) {
        EXPECT_EQ(waitpid(child_that([] {}), nullptr, 0), -1);
        EXPECT_THAT(child_processes(), IsEmpty());
    }
    std::signal(SIGCHLD, SIG_DFL);
}
