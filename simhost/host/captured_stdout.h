// What libraries print on standard output, caught and kept apart.
//
// A plug-in may print plain lines ("Invalid line: 7") while it works. While an object of this class lives, file
// descriptor 1 leads to memory, and the program's own output goes to own_output(), the standard output as it was.
#pragma once

#include <cstdio>
#include <string>

class CapturedStdout {
public:
    // Throws std::system_error when descriptor 1 cannot be redirected.
    CapturedStdout();
    // Puts descriptor 1 back. What was not taken is dropped.
    ~CapturedStdout();
    CapturedStdout(const CapturedStdout &) = delete;
    CapturedStdout &operator=(const CapturedStdout &) = delete;

    FILE *own_output() const { return m_own; }

    // What was printed since the last call. At most a MiB is kept; the rest is cut with a note.
    std::string take();

private:
    int m_memory = -1;
    FILE *m_own = nullptr;
};
