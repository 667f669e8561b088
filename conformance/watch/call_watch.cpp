#include "conformance/watch/call_watch.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstring>
#include <map>
#include <utility>

#include "conformance/watch/call_note.h"
#include "conformance/watch/expect.h"

namespace conformance {

namespace {

bool is_on = true;
std::map<int, std::string> openers;
std::string children_from;
std::string threads_from;

// Enough to tell one state from another.
uint64_t mixed(uint64_t sum, const void *bytes, size_t size) {
    for (size_t i = 0; i < size; ++i)
        sum = (sum ^ static_cast<const unsigned char *>(bytes)[i]) * 1099511628211U;
    return sum;
}

uint64_t signal_state() {
    uint64_t sum = 0;
    for (int number = 1; number < NSIG; ++number) {
        struct sigaction action {};
        if (sigaction(number, nullptr, &action) != 0)
            continue;
        sum = mixed(sum, &action.sa_handler, sizeof action.sa_handler);
        sum = mixed(sum, &action.sa_flags, sizeof action.sa_flags);
    }
    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    for (int number = 1; number < NSIG; ++number)
        sum = sum * 3 + static_cast<uint64_t>(sigismember(&mask, number) + 1);
    return sum;
}

uint64_t environment_state() {
    uint64_t sum = 0;
    for (char **one = environ; one != nullptr && *one != nullptr; ++one)
        sum = mixed(sum, *one, std::strlen(*one) + 1);
    return sum;
}

int lowest_free_descriptor() {
    const int number = fcntl(STDOUT_FILENO, F_DUPFD, 3);
    if (number >= 0)
        close(number);
    return number;
}

unsigned thread_links() {
    struct stat status;
    return stat("/proc/self/task", &status) == 0 ? static_cast<unsigned>(status.st_nlink) : 0;
}

}  // namespace

CallWatch::State CallWatch::look() {
    State now{};
    now.signals = signal_state();
    now.umask = umask(022);
    umask(now.umask);
    now.locale = setlocale(LC_ALL, nullptr);
    now.environment = environment_state();
    char directory[4096];
    now.directory = getcwd(directory, sizeof directory) == nullptr ? "" : directory;
    now.lowest_free_descriptor = lowest_free_descriptor();
    siginfo_t child;
    now.has_children = waitid(P_ALL, 0, &child, WEXITED | WNOHANG | WNOWAIT) == 0;
    now.threads = thread_links();
    return now;
}

CallWatch::CallWatch(std::string call) : call_(std::move(call)), is_watching_(is_on && is_noted_thread()) {
    if (is_watching_)
        before_ = look();
}

CallWatch::~CallWatch() {
    if (!is_watching_)
        return;
    const int saved = errno;
    const State now = look();
    const auto expect_kept = [&](bool is_kept, const char *what, const std::string &expected, const std::string &got) {
        if (!is_kept)
            add_finding_of(call_, what, expected, got);
    };
    expect_kept(now.signals == before_.signals, "signal dispositions and mask of the process", "as before the call",
                "others");
    expect_kept(now.umask == before_.umask, "umask of the process", fmt::format("{:04o}", before_.umask),
                fmt::format("{:04o}", now.umask));
    expect_kept(now.locale == before_.locale, "locale of the process", before_.locale, now.locale);
    expect_kept(now.environment == before_.environment, "environment of the process", "as before the call", "another");
    expect_kept(now.directory == before_.directory, "working directory of the process", before_.directory,
                now.directory);
    for (int number = before_.lowest_free_descriptor; number < now.lowest_free_descriptor; ++number)
        openers[number] = call_;
    if (now.has_children && !before_.has_children)
        children_from = call_;
    if (now.threads > before_.threads)
        threads_from = call_;
    errno = saved;
}

void CallWatch::switch_on(bool on) { is_on = on; }

std::string opener_of_descriptor(int number) {
    const auto opener = openers.find(number);
    return opener == openers.end() ? "" : opener->second;
}

std::string starter_of_children() { return children_from; }
std::string starter_of_threads() { return threads_from; }

}  // namespace conformance
