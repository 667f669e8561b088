#include "tests/support/system_double.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

namespace {

const char *failing_name = "";
int failing_error = 0;
int calls_to_skip = 0;
std::function<void()> after_pipe;
const char *interrupted_name = "";
bool interruption_happened = false;

bool is_interrupted(const char *name) {
    if (interruption_happened || std::strcmp(name, interrupted_name) != 0)
        return false;
    interruption_happened = true;
    errno = EINTR;
    return true;
}

bool fails(const char *name) {
    if (std::strcmp(name, failing_name) != 0 || calls_to_skip-- > 0)
        return false;
    errno = failing_error;
    return true;
}

}  // namespace

AfterPipe::AfterPipe(std::function<void()> action) { after_pipe = std::move(action); }

AfterPipe::~AfterPipe() { after_pipe = nullptr; }

InterruptedCall::InterruptedCall(const char *name) {
    interrupted_name = name;
    interruption_happened = false;
}

InterruptedCall::~InterruptedCall() { interrupted_name = ""; }

bool InterruptedCall::happened() const { return interruption_happened; }

FailingCall::FailingCall(const char *name, int error, int skipped) {
    failing_name = name;
    failing_error = error;
    calls_to_skip = skipped;
}

FailingCall::~FailingCall() { failing_name = ""; }

#define FORWARDED(name, parameters, arguments)                                                 \
    extern "C" __attribute__((visibility("default"))) int name parameters noexcept {           \
        static const auto next = reinterpret_cast<int(*) parameters>(dlsym(RTLD_NEXT, #name)); \
        return fails(#name) ? -1 : next arguments;                                             \
    }

FORWARDED(uname, (struct utsname * system), (system))
FORWARDED(symlink, (const char *target, const char *path), (target, path))
FORWARDED(fork, (), ())

// These are places where a thread may be cancelled, hence not noexcept.
#define INTERRUPTIBLE(result, name, parameters, arguments)                                        \
    extern "C" __attribute__((visibility("default"))) result name parameters {                    \
        static const auto next = reinterpret_cast<result(*) parameters>(dlsym(RTLD_NEXT, #name)); \
        return is_interrupted(#name) ? -1 : next arguments;                                       \
    }

INTERRUPTIBLE(ssize_t, read, (int file, void *buffer, size_t size), (file, buffer, size))
INTERRUPTIBLE(ssize_t, write, (int file, const void *buffer, size_t size), (file, buffer, size))
INTERRUPTIBLE(pid_t, waitpid, (pid_t child, int *status, int options), (child, status, options))

extern "C" __attribute__((visibility("default"))) int pipe2(int *ends, int flags) noexcept {
    static const auto next = reinterpret_cast<int (*)(int *, int)>(dlsym(RTLD_NEXT, "pipe2"));
    const int result = fails("pipe2") ? -1 : next(ends, flags);
    if (result == 0 && after_pipe != nullptr)
        after_pipe();
    return result;
}
