#include "simhost/host/interrupt.h"

#include <csignal>
#include <cstdlib>
#include <initializer_list>

#include "simhost/report/failure.h"

namespace {

volatile std::sig_atomic_t noted = 0;

void take_note(int signal) { noted = signal; }

}  // namespace

void catch_interrupts() {
    struct sigaction action = {};
    action.sa_handler = take_note;
    // One note is enough; no SA_RESTART, so that a waiting read returns.
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction before = {};
        // Who started the program with a signal ignored (nohup, a shell's "&") wants it to go on.
        if (sigaction(signal, nullptr, &before) == 0 && before.sa_handler != SIG_IGN)
            sigaction(signal, &action, nullptr);
    }
    std::signal(SIGPIPE, SIG_IGN);
}

int noted_interrupt() { return noted; }

void stop_if_interrupted() {
    if (noted != 0)
        throw Interrupted(noted);
}

void end_by_signal(int signal) {
    std::signal(signal, SIG_DFL);
    std::raise(signal);
    std::exit(128 + signal);
}
