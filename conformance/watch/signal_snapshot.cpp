#include "conformance/watch/signal_snapshot.h"

#include <fmt/format.h>

#include <cstring>

namespace conformance {

namespace {

sigset_t blocked_now() {
    sigset_t set;
    std::memset(&set, 0, sizeof set);  // the kernel writes less than the C library's type holds
    pthread_sigmask(SIG_SETMASK, nullptr, &set);
    return set;
}

std::string name_of(int number) {
    const char *name = sigabbrev_np(number);
    return name == nullptr ? fmt::format("signal {}", number) : fmt::format("SIG{}", name);
}

}  // namespace

SignalSnapshot::Disposition SignalSnapshot::disposition_of(int number) {
    struct sigaction action {};
    if (sigaction(number, nullptr, &action) != 0)
        return {};
    return {action.sa_handler, action.sa_flags};
}

std::string SignalSnapshot::text_of(int number, const Disposition &disposition, bool is_blocked) {
    std::string text = name_of(number);
    if (disposition.handler == SIG_DFL)
        text += " default";
    else if (disposition.handler == SIG_IGN)
        text += " ignored";
    else
        text += fmt::format(" handled at {}, flags 0x{:x}", reinterpret_cast<const void *>(disposition.handler),
                            disposition.flags);
    return text + (is_blocked ? ", blocked" : "");
}

void SignalSnapshot::take() {
    for (int number = 1; number < NSIG; ++number)
        dispositions_[static_cast<size_t>(number)] = disposition_of(number);
    blocked_ = blocked_now();
}

bool SignalSnapshot::is_current() const {
    for (int number = 1; number < NSIG; ++number) {
        const Disposition now = disposition_of(number);
        const Disposition &then = dispositions_[static_cast<size_t>(number)];
        if (now.handler != then.handler || now.flags != then.flags)
            return false;
    }
    const sigset_t blocked = blocked_now();
    return std::memcmp(&blocked, &blocked_, sizeof blocked) == 0;
}

SignalSnapshot::Difference SignalSnapshot::difference() const {
    Difference difference;
    const sigset_t blocked = blocked_now();
    for (int number = 1; number < NSIG; ++number) {
        const std::string then =
            text_of(number, dispositions_[static_cast<size_t>(number)], sigismember(&blocked_, number) == 1);
        const std::string now = text_of(number, disposition_of(number), sigismember(&blocked, number) == 1);
        if (then == now)
            continue;
        const char *separator = difference.then.empty() ? "" : "; ";
        difference.then += separator + then;
        difference.now += separator + now;
    }
    return difference;
}

}  // namespace conformance
