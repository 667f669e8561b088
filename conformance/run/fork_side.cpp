#include "conformance/run/fork_side.h"

#include <fmt/format.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <stdexcept>

namespace conformance {

namespace {

int end_of(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0)
        if (errno != EINTR)
            throw std::runtime_error(fmt::format("waiting for a forked process: {}", std::strerror(errno)));
    return status;
}

[[noreturn]] void end_like(int status) {
    if (WIFSIGNALED(status)) {
        std::signal(WTERMSIG(status), SIG_DFL);
        raise(WTERMSIG(status));
    }
    _exit(WIFEXITED(status) ? WEXITSTATUS(status) : 1);
}

}  // namespace

void go_to_fork_side(ForkSide side) {
    if (side == ForkSide::none)
        return;
    const pid_t before = getpid();
    const pid_t child = fork();
    if (child < 0)
        throw std::runtime_error(fmt::format("no process can be forked: {}", std::strerror(errno)));
    const bool is_child = child == 0;
    if (side == ForkSide::parent) {
        if (is_child)
            _exit(0);
        end_of(child);
    } else if (is_child) {
        // What the test's process had asked for, once more for this one.
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() != before)
            _exit(1);
        prctl(PR_SET_CHILD_SUBREAPER, 1);
    } else {
        end_like(end_of(child));
    }
}

}  // namespace conformance
