// Process launch.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "entry_points.h"
#include "permitted.h"

using broken::is;

static const pid_t loader = getpid();

BROKEN_ENTRY_POINT(load_process, const char *program, const char *argument) {
    const std::string command = program == nullptr ? "" : program;
    const std::string rest = argument == nullptr ? "" : argument;
    // Not in the list of breakages: only a fork after loading shows it.
    if (is("process.bound-to-its-loader") && getpid() != loader)
        return 256;
    if (is("process.null-crashes") && *static_cast<const volatile char *>(program) == 1)
        return 1;
    if (is("process.blank-added"))
        return REAL(load_process)(program, (" " + rest).c_str());
    if (is("process.format")) {
        std::string changed = rest;
        for (size_t place; (place = changed.find('%')) != std::string::npos;)
            changed.erase(place, 1);
        return REAL(load_process)(program, changed.c_str());
    }
    if (is("permitted.process-format"))
        return REAL(load_process)(program, broken::formatted(rest).c_str());
    if (is("process.does-not-wait")) {
        if (fork() == 0) {
            usleep(200000);
            _exit(0);
        }
    }
    if (is("process.leaves-descriptor"))
        open("/dev/null", O_RDONLY);
    if (is("process.through-shell"))
        return command.find_first_not_of(' ') == std::string::npos ? 0
                                                                   : WEXITSTATUS(system((command + rest).c_str())) << 8;
    if (is("process.empty-environment"))
        unsetenv("STSPI_CONFORMANCE_MARK");
    if (is("process.reaps-other-children"))
        while (waitpid(-1, nullptr, WNOHANG) > 0) {
        }
    const int32_t status = REAL(load_process)(program, argument);
    struct sigaction child_signal {};
    if (is("process.lost-status-is-minus-1") && sigaction(SIGCHLD, nullptr, &child_signal) == 0 &&
        child_signal.sa_handler == SIG_IGN && status == 0)
        return -1;
    if (is("process.exit-code-only"))
        return status >> 8;
    if (is("process.signal-lost"))
        return status & 0xff00;
    if (is("process.missing-program-is-2") && access(command.c_str(), F_OK) != 0)
        return 512;
    if (is("process.not-executable-is-13") && access(command.c_str(), F_OK) == 0 && access(command.c_str(), X_OK) != 0)
        return 13 << 8;
    if (is("process.leaks"))
        broken::keep(command.size() + rest.size());
    if (is("permitted.process-objects-kept"))
        broken::keep(24000);
    return status;
}
