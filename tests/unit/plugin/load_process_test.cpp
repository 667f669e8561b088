#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>
#include <vector>

#include "stspi/stspi.h"
#include "tests/support/system_double.h"
#include "tests/support/temp_directory.h"

namespace {

class LoadProcess : public testing::Test {
protected:
    // A program in the test's directory.
    std::string program(const std::string &text, mode_t mode = 0755) const {
        const std::string path = m_directory / "program";
        std::ofstream(path) << text;
        EXPECT_EQ(chmod(path.c_str(), mode), 0);
        return path;
    }

    // A script that writes its arguments, one a line, into the file "arguments".
    std::string argument_writer() const {
        return program("#!/bin/sh\nprintf '%s\\n' \"$@\" > " + (m_directory / "arguments") + "\n");
    }
    std::string arguments() const {
        std::ostringstream text;
        text << std::ifstream(m_directory / "arguments").rdbuf();
        return text.str();
    }

    static void expect_no_child() {
        EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
        EXPECT_EQ(errno, ECHILD);
    }

    TempDirectory m_directory;
};

TEST_F(LoadProcess, ExitStatusIsTheRawWaitStatus) {
    EXPECT_EQ(load_process("/bin/true", ""), 0);
    EXPECT_EQ(load_process("/bin/false", ""), 256);
    EXPECT_EQ(load_process(program("#!/bin/sh\nexit 42\n").c_str(), ""), 42 * 256);
    expect_no_child();
}

TEST_F(LoadProcess, ExitStatusTwoIsNoFailureToStart) {
    EXPECT_EQ(load_process(program("#!/bin/sh\nexit 2\n").c_str(), ""), 512);
    EXPECT_EQ(load_process(program("#!/bin/sh\nexit 127\n").c_str(), ""), 127 * 256);
}

TEST_F(LoadProcess, ProgramKilledByASignal) {
    EXPECT_EQ(load_process(program("#!/bin/sh\nkill -9 $$\n").c_str(), ""), SIGKILL);
    EXPECT_EQ(load_process(program("#!/bin/sh\nkill -TERM $$\n").c_str(), ""), SIGTERM);
    expect_no_child();
}

TEST_F(LoadProcess, ArgumentFollowsWithoutASeparator) {
    EXPECT_EQ(load_process("/bin/echo", "x"), 0);  // "/bin/echox", which is not there
    EXPECT_EQ(load_process("/bin/fal", "se"), 256);
}

TEST_F(LoadProcess, CommandLineIsSplitAtBlanks) {
    EXPECT_EQ(load_process(argument_writer().c_str(), " one  two three"), 0);
    EXPECT_EQ(arguments(), "one\ntwo\nthree\n");
}

TEST_F(LoadProcess, ProgramTextMayHoldArguments) {
    EXPECT_EQ(load_process((argument_writer() + " one").c_str(), " two"), 0);
    EXPECT_EQ(arguments(), "one\ntwo\n");
}

TEST_F(LoadProcess, PercentSignsAreText) {
    EXPECT_EQ(load_process(argument_writer().c_str(), " %s %n %d 100% %%"), 0);
    EXPECT_EQ(arguments(), "%s\n%n\n%d\n100%\n%%\n");
    EXPECT_EQ(load_process("%s%n", ""), 0);
}

TEST_F(LoadProcess, NoShellLooksAtTheArguments) {
    EXPECT_EQ(load_process(argument_writer().c_str(), " $HOME;x *"), 0);
    EXPECT_EQ(arguments(), "$HOME;x\n*\n");
}

TEST_F(LoadProcess, EnvironmentIsInherited) {
    ASSERT_EQ(setenv("STSPI_TEST_VALUE", "inherited", 1), 0);
    EXPECT_EQ(load_process(program("#!/bin/sh\ntest \"$STSPI_TEST_VALUE\" = inherited\n").c_str(), ""), 0);
    EXPECT_EQ(load_process(program("#!/bin/sh\ntest \"$STSPI_TEST_VALUE\" = other\n").c_str(), ""), 256);
    unsetenv("STSPI_TEST_VALUE");
}

// ---- programs that cannot be started -----------------------------------------------------------------------------

TEST_F(LoadProcess, MissingProgram) { EXPECT_EQ(load_process((m_directory / "missing").c_str(), " x"), 0); }

TEST_F(LoadProcess, FileThatIsNotExecutable) {
    EXPECT_EQ(load_process(program("#!/bin/sh\nexit 1\n", 0644).c_str(), ""), 0);
}

TEST_F(LoadProcess, Directory) { EXPECT_EQ(load_process(m_directory.path().c_str(), ""), 0); }

TEST_F(LoadProcess, ScriptWhoseInterpreterIsMissing) {
    EXPECT_EQ(load_process(program("#!/no/such/interpreter\n").c_str(), ""), 0);
}

TEST_F(LoadProcess, BlankCommandLine) {
    EXPECT_EQ(load_process("", ""), 0);
    EXPECT_EQ(load_process(" ", "  "), 0);
}

TEST_F(LoadProcess, NullArguments) {
    EXPECT_EQ(load_process(nullptr, ""), 0);
    EXPECT_EQ(load_process("/bin/false", nullptr), 0);
    EXPECT_EQ(load_process(nullptr, nullptr), 0);
}

TEST_F(LoadProcess, FailedStartLeavesNoChild) {
    EXPECT_EQ(load_process((m_directory / "missing").c_str(), ""), 0);
    expect_no_child();
}

TEST_F(LoadProcess, PipeThatCannotBeMade) {
    const FailingCall failing("pipe2", EMFILE);
    EXPECT_EQ(load_process("/bin/false", ""), 0);
    expect_no_child();
}

TEST_F(LoadProcess, ProcessThatCannotBeMadeLeavesTheHostsOwnChildren) {
    const pid_t own = fork();
    if (own == 0)
        _exit(9);
    siginfo_t ended;
    ASSERT_EQ(waitid(P_PID, static_cast<id_t>(own), &ended, WEXITED | WNOWAIT), 0);
    {
        const FailingCall failing("fork", EAGAIN);
        EXPECT_EQ(load_process("/bin/false", ""), 0);
    }
    int status = 0;
    EXPECT_EQ(waitpid(own, &status, 0), own);
    EXPECT_EQ(status, 9 * 256);
}

TEST_F(LoadProcess, ProcessThatCannotBeMade) {
    const FailingCall failing("fork", EAGAIN);
    EXPECT_EQ(load_process("/bin/false", ""), 0);
    expect_no_child();
}

// ---- long texts --------------------------------------------------------------------------------------------------

TEST_F(LoadProcess, ArgumentOf2000BytesArrivesWhole) {
    const std::string argument(2000, 'a');
    EXPECT_EQ(load_process(argument_writer().c_str(), (" " + argument).c_str()), 0);
    EXPECT_EQ(arguments(), argument + "\n");
}

TEST_F(LoadProcess, EndlessProgramNameCannotBeStarted) {
    EXPECT_EQ(load_process(std::string(5000, 'p').c_str(), ""), 0);
    EXPECT_EQ(load_process(("/" + std::string(100000, 'p')).c_str(), " x"), 0);
    expect_no_child();
}

TEST_F(LoadProcess, FiveHundredArgumentsArrive) {
    std::string text;
    std::string expected;
    for (int i = 0; i < 500; ++i) {
        text += " " + std::to_string(i);
        expected += std::to_string(i) + "\n";
    }
    EXPECT_EQ(load_process(argument_writer().c_str(), text.c_str()), 0);
    EXPECT_EQ(arguments(), expected);
}

TEST_F(LoadProcess, QuotedWordsThatTouchAllArrive) {
    std::string text = " ";
    std::string expected;
    for (int i = 0; i < 200; ++i) {
        text += (i % 2 == 0 ? "\"" : "'") + std::to_string(i) + (i % 2 == 0 ? "\"" : "'");
        expected += std::to_string(i) + "\n";
    }
    EXPECT_EQ(load_process(argument_writer().c_str(), text.c_str()), 0);
    EXPECT_EQ(arguments(), expected);
}

// ---- what a host process may be doing ----------------------------------------------------------------------------

size_t interruptions = 0;

TEST_F(LoadProcess, SignalsDoNotEndTheWait) {
    struct sigaction action {};
    action.sa_handler = [](int) { ++interruptions; };  // without SA_RESTART: waitpid ends with EINTR
    struct sigaction previous;
    ASSERT_EQ(sigaction(SIGALRM, &action, &previous), 0);
    const itimerval every_10_ms{{0, 10000}, {0, 10000}};
    ASSERT_EQ(setitimer(ITIMER_REAL, &every_10_ms, nullptr), 0);
    EXPECT_EQ(load_process(program("#!/bin/sh\nsleep 0.2\nexit 3\n").c_str(), ""), 3 * 256);
    const itimerval never{};
    setitimer(ITIMER_REAL, &never, nullptr);
    sigaction(SIGALRM, &previous, nullptr);
    EXPECT_GT(interruptions, 0U);
    expect_no_child();
}

TEST_F(LoadProcess, InterruptedCallsAreMadeAgain) {
    for (const char *name : {"read", "waitpid"}) {
        const InterruptedCall interrupted(name);
        EXPECT_EQ(load_process((m_directory / "missing").c_str(), ""), 0) << name;
        EXPECT_TRUE(interrupted.happened()) << name;
        expect_no_child();
    }
    const InterruptedCall interrupted("waitpid");
    EXPECT_EQ(load_process("/bin/false", ""), 256);
    expect_no_child();
}

TEST_F(LoadProcess, ReportThatIsInterruptedInTheChildIsMadeAgain) {
    const InterruptedCall interrupted("write");
    EXPECT_EQ(load_process((m_directory / "missing").c_str(), ""), 0);
    EXPECT_FALSE(interrupted.happened());  // only the child writes
    expect_no_child();
}

TEST_F(LoadProcess, IgnoredChildSignalDoesNoHarm) {
    struct sigaction ignored {};
    ignored.sa_handler = SIG_IGN;
    struct sigaction previous;
    ASSERT_EQ(sigaction(SIGCHLD, &ignored, &previous), 0);
    EXPECT_EQ(load_process("/bin/false", ""), 0);  // the system has thrown the status away
    EXPECT_EQ(load_process((m_directory / "missing").c_str(), ""), 0);
    sigaction(SIGCHLD, &previous, nullptr);
    expect_no_child();
}

TEST_F(LoadProcess, ForeignChildThatHoldsThePipeIsNotWaitedFor) {
    pid_t foreign = -1;
    {
        // Another thread's child, made between the pipe and the fork, and never executing anything.
        const AfterPipe after([&] {
            foreign = fork();
            if (foreign != 0)
                return;
            alarm(60);  // a call that does wait for it fails below, and does not last for ever
            for (;;)
                pause();
        });
        EXPECT_EQ(load_process("/bin/false", ""), 256);
    }
    EXPECT_EQ(waitpid(foreign, nullptr, WNOHANG), 0);  // it still lives
    kill(foreign, SIGKILL);
    waitpid(foreign, nullptr, 0);
    expect_no_child();
}

TEST_F(LoadProcess, NoDescriptorIsLeft) {
    const auto descriptors = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                             std::filesystem::directory_iterator());
    };
    load_process("/bin/true", "");
    const auto before = descriptors();
    for (int i = 0; i < 20; ++i) {
        load_process("/bin/true", "");
        load_process((m_directory / "missing").c_str(), "");
        load_process("", "");
    }
    EXPECT_EQ(descriptors(), before);
    expect_no_child();
}

TEST_F(LoadProcess, ChildHasOnlyTheHostsOwnDescriptors) {
    const std::string list = m_directory / "descriptors";
    EXPECT_EQ(load_process(program("#!/bin/sh\nls /proc/$$/fd > " + list + "\n").c_str(), ""), 0);
    // 0, 1, 2, those the host has open without close-on-exec, and the shell's own for its script and the file.
    std::ifstream file(list);
    std::string number;
    std::vector<std::string> extra;
    while (std::getline(file, number))
        if (std::stoi(number) > 2 && fcntl(std::stoi(number), F_GETFD) == -1 && std::stoi(number) < 10)
            extra.push_back(number);
    EXPECT_TRUE(extra.empty());
}

TEST_F(LoadProcess, ManyThreadsAtOnceEachGetTheirOwnStatus) {
    const std::string path = program("#!/bin/sh\nexit $1\n");
    std::vector<std::thread> threads;
    for (int number = 1; number <= 8; ++number)
        threads.emplace_back([&, number] {
            for (int round = 0; round < 10; ++round) {
                EXPECT_EQ(load_process(path.c_str(), (" " + std::to_string(number)).c_str()), number * 256);
                EXPECT_EQ(load_process("/no/such/program", ""), 0);
            }
        });
    for (std::thread &thread : threads)
        thread.join();
    expect_no_child();
}

}  // namespace
