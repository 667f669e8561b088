#include "conformance/watch/call_watch.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <clocale>
#include <map>
#include <utility>

#include "conformance/watch/call_note.h"
#include "conformance/watch/environment_snapshot.h"
#include "conformance/watch/expect.h"
#include "conformance/watch/signal_snapshot.h"

namespace conformance {

namespace {

bool is_on = true;
std::map<int, std::string> openers;
std::string children_from;
std::string threads_from;

// As before the call that is watched now.
SignalSnapshot &signals() {
    static SignalSnapshot snapshot;
    return snapshot;
}

EnvironmentSnapshot &environment() {
    static EnvironmentSnapshot snapshot;
    return snapshot;
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
    now.umask = umask(022);
    umask(now.umask);
    now.locale = setlocale(LC_ALL, nullptr);
    char directory[4096];
    now.directory = getcwd(directory, sizeof directory) == nullptr ? "" : directory;
    now.lowest_free_descriptor = lowest_free_descriptor();
    siginfo_t child;
    now.has_children = waitid(P_ALL, 0, &child, WEXITED | WNOHANG | WNOWAIT) == 0;
    now.threads = thread_links();
    return now;
}

CallWatch::CallWatch(std::string call) : call_(std::move(call)), is_watching_(is_on && is_noted_thread()) {
    if (!is_watching_)
        return;
    signals().take();
    environment().take();
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
    if (!signals().is_current()) {
        const auto difference = signals().difference();
        add_finding_of(call_, "signal dispositions and mask of the process", difference.then, difference.now);
    }
    if (!environment().is_current()) {
        const auto difference = environment().difference();
        add_finding_of(call_, "environment of the process", difference.then, difference.now);
    }
    expect_kept(now.umask == before_.umask, "umask of the process", fmt::format("{:04o}", before_.umask),
                fmt::format("{:04o}", now.umask));
    expect_kept(now.locale == before_.locale, "locale of the process", before_.locale, now.locale);
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
