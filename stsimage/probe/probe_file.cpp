#include "stsimage/probe/probe_file.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/wait.h>

#include <cerrno>
#include <string>
#include <system_error>

namespace stsimage::probe {

namespace {

[[noreturn]] void give_up(const std::string &what) { throw std::system_error(errno, std::generic_category(), what); }

}  // namespace

FileDescriptor open_or_throw(const std::string &path, int flags) {
    FileDescriptor file(open(path.c_str(), flags | O_CLOEXEC, 0600));
    if (!file)
        give_up("cannot open " + path);
    return file;
}

void write_file(const std::string &path, const std::string &content) {
    const FileDescriptor file = open_or_throw(path, O_WRONLY | O_CREAT | O_TRUNC);
    if (pwrite(file.get(), content.data(), content.size(), 0) != static_cast<ssize_t>(content.size()) ||
        fsync(file.get()) != 0)
        give_up("cannot write " + path);
}

std::string content_of(const FileDescriptor &file) {
    char buffer[100];
    const ssize_t got = pread(file.get(), buffer, sizeof buffer, 0);
    if (got < 0)
        give_up("cannot read");
    return std::string(buffer, static_cast<size_t>(got));
}

std::string content_of(const std::string &path) {
    const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file && errno != ENOENT && errno != ESTALE)
        give_up("cannot open " + path);
    return file ? content_of(file) : "";
}

void lock_and_be_killed(const std::string &path) {
    int ready[2];
    if (pipe2(ready, O_CLOEXEC) != 0)
        give_up("cannot make a pipe");
    const FileDescriptor reading(ready[0]), writing(ready[1]);
    const pid_t child = fork();
    if (child < 0)
        give_up("cannot start a process");
    if (child == 0) {
        const int file = open(path.c_str(), O_RDWR | O_CLOEXEC);
        const char told = file >= 0 && flock(file, LOCK_EX | LOCK_NB) == 0 ? 'y' : 'n';
        if (write(ready[1], &told, 1) == 1)
            pause();
        _exit(1);
    }
    char told = 'n';
    const bool locked = read(ready[0], &told, 1) == 1 && told == 'y';
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    if (!locked) {
        errno = ENOLCK;
        give_up("a process could not lock " + path);
    }
}

}  // namespace stsimage::probe
