#include "filter/output_watch.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <iostream>
#include <string_view>

namespace filter {

namespace {

// The process shares the C and C++ standard streams with the plug-in.
void flush_standard_output() {
    std::cout.flush();
    std::fflush(stdout);
}

void write_all(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = write(descriptor, bytes.data(), bytes.size());
        if (written > 0) {
            bytes.remove_prefix(static_cast<size_t>(written));
        } else if (written < 0 && errno == EAGAIN) {
            pollfd until = {descriptor, POLLOUT, 0};
            poll(&until, 1, -1);
        } else if (written < 0 && errno != EINTR) {
            return;  // as the plug-in would have found it
        }
    }
}

// Appended to, so that what comes after a cut begins at the beginning, whoever writes. -1 where there is none.
int new_memory() {
    const int memory = memfd_create("standard output of a call", MFD_CLOEXEC);
    if (memory >= 0)
        fcntl(memory, F_SETFL, O_APPEND);
    return memory;
}

}  // namespace

OutputWatch::OutputWatch(journal::Writer &journal) : m_journal(journal), m_memory(new_memory()) {}

OutputWatch::~OutputWatch() {
    if (m_memory >= 0)
        close(m_memory);
}

void OutputWatch::enter() {
    const std::lock_guard guard(m_lock);
    if (m_memory < 0 || m_calls++ != 0)
        return;
    flush_standard_output();
    m_own = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    if (m_own >= 0)
        dup2(m_memory, STDOUT_FILENO);
}

void OutputWatch::leave(journal::CallNumber call) {
    const std::lock_guard guard(m_lock);
    if (m_calls == 0)
        return;
    if (m_own >= 0)
        hand_on(call);
    if (--m_calls == 0)
        restore();
}

void OutputWatch::hand_on(journal::CallNumber call) {
    flush_standard_output();
    const off_t size = lseek(m_memory, 0, SEEK_END);
    char bytes[16384];
    for (off_t at = 0; at < size;) {
        const ssize_t got = pread(m_memory, bytes, sizeof bytes, at);
        if (got <= 0)
            break;
        const std::string_view piece(bytes, static_cast<size_t>(got));
        m_journal.output(call, piece);
        write_all(m_own, piece);
        at += got;
    }
    if (size > 0 && ftruncate(m_memory, 0) != 0)
        m_journal.output(call, "(what follows is told again)\n");
}

void OutputWatch::restore() {
    if (m_own < 0)
        return;
    dup2(m_own, STDOUT_FILENO);
    close(m_own);
    m_own = -1;
}

void OutputWatch::forget_calls() {
    m_calls = 0;
    restore();
    // What the other process prints is not this one's.
    if (m_memory >= 0)
        close(m_memory);
    m_memory = new_memory();
}

}  // namespace filter
