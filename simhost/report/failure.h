// How a command ends, and the failures that end one early.
#pragma once

#include <stdexcept>

enum class ExitStatus {
    good = 0,     // every answer was as it should be
    bad = 1,      // an answer was not: an unexpected status, a differing byte, a missing name
    usage = 2,    // the command could not be understood or its input not be read
    warnings = 3  // good, but there were warnings, and --strict asks to tell
};

// The command as given makes no sense.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// The plug-in's answer is not the one that was asked for.
struct BadAnswer : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// The plug-in's answer is that what was asked for may have been done or not.
struct OutcomeUnknown : BadAnswer {
    using BadAnswer::BadAnswer;
};

// The user asked to stop. Everything that was made is undone on the way out.
struct Interrupted : std::runtime_error {
    explicit Interrupted(int number) : std::runtime_error("interrupted"), signal(number) {}
    int signal;
};

// Standard output is a pipe that nobody reads any more. The program ends as if by SIGPIPE, without a word.
struct ReaderGone : std::runtime_error {
    ReaderGone() : std::runtime_error("nobody reads standard output any more") {}
};
