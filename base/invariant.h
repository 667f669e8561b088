// What the code promises itself, checked in every build.
//
// An invariant is about the code's own state: what is about to be written, what was just computed. Whatever a caller, a file
// or the system gives is checked and refused in the ordinary way, with a status. A broken invariant is a mistake of ours: the
// call that meets it fails, before harm is done, and the process that we live in goes on.
#pragma once

#include <exception>

class BrokenInvariant : public std::exception {
public:
    // Keeps the pointer: a literal.
    explicit BrokenInvariant(const char *text) noexcept : m_text(text) {}
    // The condition and where it stands: "broken invariant in x.cpp:7: used <= room".
    const char *what() const noexcept override { return m_text; }

private:
    const char *m_text;
};

// Apart, so that a check costs its caller a comparison and a branch.
[[noreturn, gnu::cold]] void throw_broken_invariant(const char *text);

#define STS_INVARIANT_TEXT(line) #line
#define STS_INVARIANT_AT(condition, line) \
    ((condition)                          \
         ? void()                         \
         : throw_broken_invariant("broken invariant in " __FILE_NAME__ ":" STS_INVARIANT_TEXT(line) ": " #condition))

// Throws BrokenInvariant when the condition does not hold. Allocates nothing.
#define STS_INVARIANT(condition) STS_INVARIANT_AT(condition, __LINE__)
