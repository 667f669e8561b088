// System calls that fail when a test wants them to.
//
// A program that links this file defines the calls itself; each forwards to the C library's unless it is told to fail.
#pragma once

#include <functional>

// While it lives, something else happens right after each pipe2 that succeeds, as if on another thread.
class AfterPipe {
public:
    explicit AfterPipe(std::function<void()> action);
    ~AfterPipe();
    AfterPipe(const AfterPipe &) = delete;
    AfterPipe &operator=(const AfterPipe &) = delete;
};

// While it lives, one system call is interrupted once, in this process and in each that it forks.
class InterruptedCall {
public:
    // The call of that name: "read", "write" or "waitpid".
    explicit InterruptedCall(const char *name);
    ~InterruptedCall();
    InterruptedCall(const InterruptedCall &) = delete;
    InterruptedCall &operator=(const InterruptedCall &) = delete;

    // Whether it happened in this process.
    bool happened() const;
};

// While it lives, one system call fails.
class FailingCall {
public:
    // The call of that name ("uname", "symlink", "fork" or "pipe2") fails with error from its skipped-plus-first call on.
    FailingCall(const char *name, int error, int skipped = 0);
    ~FailingCall();
    FailingCall(const FailingCall &) = delete;
    FailingCall &operator=(const FailingCall &) = delete;
};
