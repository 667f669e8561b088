// What a plug-in prints on standard output, written down on its way there.
//
// While calls run, file descriptor 1 leads to memory; what is found there when a call returns is written to the journal
// and then where it was to go. Calls that run at the same time share the memory: the first to return has all of it.
#pragma once

#include <cstdint>
#include <mutex>

#include "journal/writer.h"

namespace filter {

class OutputWatch {
public:
    // Where the system gives no memory, nothing is written down.
    explicit OutputWatch(journal::Writer &journal);
    ~OutputWatch();
    OutputWatch(const OutputWatch &) = delete;
    OutputWatch &operator=(const OutputWatch &) = delete;

    // Around the wrapped call, on its thread.
    void enter();
    void leave(journal::CallNumber call);

    // Around a fork. In the child descriptor 1 is what it was: a program that is run there may outlive every call.
    std::mutex &lock() { return m_lock; }
    void forget_calls();

private:
    void hand_on(journal::CallNumber call);
    void restore();

    journal::Writer &m_journal;
    std::mutex m_lock;
    int m_memory;
    int m_own = -1;  // standard output, while it is redirected
    uint64_t m_calls = 0;
};

}  // namespace filter
