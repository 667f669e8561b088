// Work that goes on beside a call.
#pragma once

#include <signal.h>

#include <future>
#include <system_error>
#include <utility>

namespace stsimage::s3 {

// Signals of the process are for its own threads: those that are started meanwhile take none.
class WithoutSignals {
public:
    WithoutSignals() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &earlier);
    }
    ~WithoutSignals() { pthread_sigmask(SIG_SETMASK, &earlier, nullptr); }
    WithoutSignals(const WithoutSignals &) = delete;
    WithoutSignals &operator=(const WithoutSignals &) = delete;

private:
    sigset_t earlier{};
};

// Does something in a thread of its own, or, where no more threads can be had, when its result is asked for.
template <class Work>
auto start_in_background(Work work) {
    const WithoutSignals without_signals;
    try {
        return std::async(std::launch::async, work);
    } catch (const std::system_error &) {
        return std::async(std::launch::deferred, std::move(work));
    }
}

}  // namespace stsimage::s3
