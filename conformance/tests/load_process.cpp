// load_process.
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <thread>

#include "conformance/calls/configuration.h"
#include "conformance/calls/entry_points.h"
#include "conformance/report/test_case.h"
#include "conformance/watch/expect.h"
#include "conformance/watch/leak_check.h"
#include "conformance/watch/resource_registry.h"

namespace conformance {

namespace {

std::string script(const std::string &body, mode_t mode = 0755) {
    std::string path = work_directory() + "/program";
    unlink(path.c_str());
    std::ofstream(path) << body;
    chmod(path.c_str(), mode);
    return path;
}

// Removes what a script writes and the script itself.
void remove_afterwards() {
    for (const char *name : {"/program", "/out"})
        register_resource(nullptr, name, [path = work_directory() + name] { unlink(path.c_str()); });
}

std::string written() {
    std::ifstream file(work_directory() + "/out");
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

}  // namespace

CONFORMANCE_TEST("load-process.exit-status", "The raw wait status of the program is returned.") {
    remove_afterwards();
    expect_number("wait status of true", plugin().load_process("/bin/true", ""), 0);
    expect_number("wait status of false", plugin().load_process("/bin/false", ""), 256);
    const std::string program = script("#!/bin/sh\nexit $1\n");
    for (const int code : {0, 1, 2, 7, 126, 127, 255})
        expect_number("wait status", plugin().load_process(program.c_str(), (" " + std::to_string(code)).c_str()),
                      code << 8);
}

CONFORMANCE_TEST("load-process.signal", "A program that a signal ended gives the signal's wait status.") {
    remove_afterwards();
    const std::string program = script("#!/bin/sh\nulimit -c 0\nkill -$1 $$\n");
    for (const int number : {SIGKILL, SIGTERM, SIGUSR1})
        expect_number("wait status", plugin().load_process(program.c_str(), (" " + std::to_string(number)).c_str()),
                      number);
}

CONFORMANCE_TEST(
    "load-process.cannot-start",
    "A program that cannot be started gives 0: missing, not executable, a directory, without its interpreter.") {
    remove_afterwards();
    expect_number("wait status", plugin().load_process("/bin/echo", "x"), 0);
    expect_number("wait status", plugin().load_process("/no/such/program", ""), 0);
    expect_number("wait status", plugin().load_process("/tmp", ""), 0);
    expect_number("wait status", plugin().load_process("/dev/null", ""), 0);
    expect_number("wait status", plugin().load_process(script("#!/no/such/interpreter\n").c_str(), ""), 0);
    expect_number("wait status", plugin().load_process(script("#!/bin/sh\nexit 3\n", 0644).c_str(), ""), 0);
}

CONFORMANCE_TEST("load-process.blank", "Empty and blank command lines, and null texts, start nothing and give 0.") {
    for (const char *program : {"", " ", "   "})
        for (const char *argument : {"", " ", "  "})
            expect_number("wait status", plugin().load_process(program, argument), 0);
    expect_number("wait status", plugin().load_process(nullptr, ""), 0);
    expect_number("wait status", plugin().load_process(nullptr, nullptr), 0);
}

CONFORMANCE_TEST("load-process.arguments", "Program and argument are joined without a separator and split at blanks.") {
    remove_afterwards();
    const std::string program = script("#!/bin/sh\nfor a in \"$@\"; do echo \"[$a]\"; done > out\n");
    expect_number("wait status", plugin().load_process(program.c_str(), " one two  three"), 0);
    expect_text("arguments", written(), "[one]\n[two]\n[three]\n");
    expect_number("wait status", plugin().load_process((program + " a").c_str(), "b c"), 0);
    expect_text("arguments", written(), "[ab]\n[c]\n");
    expect_number("wait status", plugin().load_process(program.c_str(), ""), 0);
    expect_text("arguments", written(), "");
    const std::string half = program.substr(0, program.size() - 3);
    expect_number("wait status", plugin().load_process(half.c_str(), "ram x"), 0);
    expect_text("arguments", written(), "[x]\n");
}

CONFORMANCE_TEST("load-process.percent", "'%' in either text is text; a plug-in may take the texts for a format.") {
    remove_afterwards();
    const std::string program = script("#!/bin/sh\necho \"$@\" > out\n");
    // Harmless as a format, too. What a format makes of the rest is nobody's to say.
    expect_number("wait status", plugin().load_process(program.c_str(), " 100%%"), 0);
    if (written() == "100%\n") {
        warn("\"100%%\" in the argument text", "handed on as it is", "handed on as \"100%\"");
        return;
    }
    expect_text("arguments", written(), "100%%\n");
    expect_number("wait status", plugin().load_process(program.c_str(), " %s %n %d 100% %%"), 0);
    expect_text("arguments", written(), "%s %n %d 100% %%\n");
    expect_number("wait status", plugin().load_process("/%s%s%n", "%n%n"), 0);
}

CONFORMANCE_TEST("load-process.environment", "The program inherits the environment.") {
    remove_afterwards();
    setenv("STSPI_CONFORMANCE_MARK", "inherited", 1);
    expect_number("wait status",
                  plugin().load_process(script("#!/bin/sh\necho $STSPI_CONFORMANCE_MARK > out\n").c_str(), ""), 0);
    expect_text("environment", written(), "inherited\n");
}

CONFORMANCE_TEST("load-process.waits", "The call returns when the program has ended, not before.") {
    remove_afterwards();
    expect_number("wait status", plugin().load_process(script("#!/bin/sh\nsleep 0.3\necho done > out\n").c_str(), ""),
                  0);
    expect_text("what the program wrote last", written(), "done\n");
}

CONFORMANCE_TEST("load-process.interrupted", "Signals that arrive meanwhile do not end the wait.") {
    remove_afterwards();
    static std::atomic<int> alarms;
    struct sigaction action {};
    action.sa_handler = [](int) { ++alarms; };
    sigaction(SIGALRM, &action, nullptr);
    const itimerval often{{0, 20000}, {0, 20000}};
    setitimer(ITIMER_REAL, &often, nullptr);
    const int32_t status = plugin().load_process(script("#!/bin/sh\nsleep 0.3\necho done > out\nexit 5\n").c_str(), "");
    const itimerval never{};
    setitimer(ITIMER_REAL, &never, nullptr);
    expect_number("wait status", status, 5 << 8);
    expect_text("what the program wrote last", written(), "done\n");
    expect_true(alarms > 0, "signals during the wait", "some", "none");
}

CONFORMANCE_TEST("load-process.ignored-child-signal",
                 "With SIGCHLD ignored the call still returns and leaves nothing behind.") {
    const auto descriptors = open_descriptors();
    std::signal(SIGCHLD, SIG_IGN);
    for (int round = 0; round < 10; ++round) {
        expect_number("wait status", plugin().load_process("/bin/true", ""), 0);
        // The system has thrown the status away: there is none to return.
        expect_number("wait status", plugin().load_process("/bin/false", ""), 0);
        expect_number("wait status", plugin().load_process("/no/such/program", ""), 0);
    }
    std::signal(SIGCHLD, SIG_DFL);
    expect_number("children left", waitpid(-1, nullptr, WNOHANG), -1);
    expect_true(open_descriptors() == descriptors, "open descriptors", "as before", "others");
}

CONFORMANCE_TEST("load-process.other-children", "Children of the caller's own are left for the caller to wait for.") {
    const pid_t child = fork();
    if (child == 0)
        _exit(9);
    // It has ended and waits to be waited for.
    siginfo_t ended;
    waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOWAIT);
    expect_number("wait status", plugin().load_process("/bin/false", ""), 256);
    int status = 0;
    expect_number("own child", waitpid(child, &status, 0), child);
    expect_number("wait status of the own child", status, 9 << 8);
}

CONFORMANCE_TEST("load-process.long-texts", "Arguments of 2,000 and more bytes do no harm.") {
    expect_number("wait status", plugin().load_process("/bin/false", (" " + std::string(2000, 'x')).c_str()), 256);
    expect_number("wait status", plugin().load_process("/bin/false", (" " + std::string(100000, 'x')).c_str()), 256);
    std::string many;
    for (int i = 0; i < 1000; ++i)
        many += " x";
    expect_number("wait status", plugin().load_process("/bin/false", many.c_str()), 256);
    expect_number("wait status", plugin().load_process(("/" + std::string(3000, 'p')).c_str(), ""), 0);
}

CONFORMANCE_TEST("load-process.ten-times", "Ten programs one after the other leave no process and no descriptor.") {
    const auto descriptors = open_descriptors();
    for (int round = 0; round < 10; ++round) {
        expect_number("wait status", plugin().load_process("/bin/false", ""), 256);
        expect_number("wait status", plugin().load_process("/no/such/program", ""), 0);
    }
    expect_true(open_descriptors() == descriptors, "open descriptors", "as before", "others");
}

CONFORMANCE_TEST("load-process.many-threads", "Programs may be started in a process of several busy threads.") {
    std::atomic<bool> stop{false};
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            while (!stop) {
                std::string text(1000, 'x');
                text += std::to_string(text.size());
            }
        });
    for (int round = 0; round < 20; ++round)
        expect_number("wait status", plugin().load_process("/bin/false", ""), 256);
    stop = true;
    for (std::thread &thread : threads)
        thread.join();
}

}  // namespace conformance
