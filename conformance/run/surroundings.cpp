#include "conformance/run/surroundings.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "base/quoted_bytes.h"

namespace conformance {

namespace {

// A line of a configuration file takes 1,023 bytes, and the tests put names of their own behind the path.
constexpr size_t longest_temporary_directory = 300;
constexpr rlim_t enough_descriptors = 256;

std::string why_unfitting(const std::string &path) {
    if (std::any_of(path.begin(), path.end(), [](unsigned char byte) { return std::isspace(byte); }))
        return "a path in a configuration file holds no white space";
    if (path.find(';') != std::string::npos)
        return "a path in a configuration file ends at ';'";
    if (path.size() > longest_temporary_directory)
        return fmt::format("paths of tests fit into configuration files up to {} bytes", longest_temporary_directory);
    return {};
}

}  // namespace

void prepare_program() {
    for (const int number : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (fcntl(number, F_GETFD) < 0 && open("/dev/null", O_RDWR) != number)
            std::abort();
    std::signal(SIGCHLD, SIG_DFL);
}

std::string leave_unfitting_temporary_directory() {
    const char *given = std::getenv("TMPDIR");
    const std::string path = given == nullptr ? "" : given;
    const std::string why = why_unfitting(path);
    if (why.empty())
        return {};
    unsetenv("TMPDIR");
    return fmt::format("TMPDIR is {}, but {}: the tests work below /tmp", quoted_bytes(path, 80), why);
}

void expect_fit_for_tests(const std::string &directory) {
    struct statvfs file_system;
    if (statvfs(directory.c_str(), &file_system) == 0 && (file_system.f_flag & ST_NOEXEC) != 0)
        throw std::runtime_error(
            fmt::format("{} lies where no programs are run, as some tests do: set TMPDIR to another place", directory));
    const std::string link = directory + "/link";
    if (symlink("target", link.c_str()) != 0)
        throw std::runtime_error(fmt::format("{}: no links can be made there ({}): set TMPDIR to another place",
                                             directory, std::strerror(errno)));
    unlink(link.c_str());
}

void prepare_test_process() {
    umask(022);
    for (int number = 1; number < NSIG; ++number) {
        struct sigaction inherited;
        if (sigaction(number, nullptr, &inherited) == 0 && inherited.sa_handler == SIG_IGN)
            std::signal(number, SIG_DFL);
    }
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    for (const auto limit : {RLIMIT_AS, RLIMIT_DATA, RLIMIT_FSIZE, RLIMIT_CPU, RLIMIT_NOFILE}) {
        rlimit both;
        if (getrlimit(limit, &both) != 0 || (limit == RLIMIT_NOFILE && both.rlim_cur >= enough_descriptors))
            continue;
        both.rlim_cur = limit == RLIMIT_NOFILE ? std::min(both.rlim_max, enough_descriptors) : both.rlim_max;
        setrlimit(limit, &both);
    }
}

}  // namespace conformance
