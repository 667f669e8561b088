#include "simhost/host/isolated_call.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <initializer_list>
#include <system_error>

namespace {

constexpr unsigned patience_seconds = 10;

[[noreturn]] void answer(int descriptor, const std::function<int32_t()> &function) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGALRM})
        std::signal(signal, SIG_DFL);
    // A crash is an answer, not something to keep a core dump or a report of.
    const rlimit no_core = {0, 0};
    setrlimit(RLIMIT_CORE, &no_core);
    close(STDERR_FILENO);
    alarm(patience_seconds);
    const int32_t status = function();
    const bool told = write(descriptor, &status, sizeof status) == sizeof status;
    _exit(told ? 0 : 1);
}

}  // namespace

IsolatedOutcome call_isolated(const std::function<int32_t()> &function) {
    int ends[2];
    if (pipe(ends) != 0)
        throw std::system_error(errno, std::generic_category(), "cannot make a pipe");
    const pid_t child = fork();
    if (child == 0) {
        close(ends[0]);
        answer(ends[1], function);
    }
    close(ends[1]);
    IsolatedOutcome outcome;
    int32_t status = 0;
    if (child > 0) {
        ssize_t got = 0;
        while ((got = read(ends[0], &status, sizeof status)) < 0 && errno == EINTR)
            continue;
        int wait_status = 0;
        while (waitpid(child, &wait_status, 0) < 0 && errno == EINTR)
            continue;
        if (got == sizeof status)
            outcome.status = status;
        else if (WIFSIGNALED(wait_status))
            outcome.signal = WTERMSIG(wait_status);
    }
    close(ends[0]);
    if (child < 0)
        throw std::system_error(errno, std::generic_category(), "cannot make a process");
    return outcome;
}
