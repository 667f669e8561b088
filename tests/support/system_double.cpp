#include "tests/support/system_double.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

namespace {

const char *failing_name = "";
int failing_error = 0;
int calls_to_skip = 0;
std::function<void()> after_pipe;

bool fails(const char *name) {
    if (std::strcmp(name, failing_name) != 0 || calls_to_skip-- > 0)
        return false;
    errno = failing_error;
    return true;
}

}  // namespace

AfterPipe::AfterPipe(std::function<void()> action) { after_pipe = std::move(action); }

AfterPipe::~AfterPipe() { after_pipe = nullptr; }

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

extern "C" __attribute__((visibility("default"))) int pipe2(int *ends, int flags) noexcept {
    static const auto next = reinterpret_cast<int (*)(int *, int)>(dlsym(RTLD_NEXT, "pipe2"));
    const int result = fails("pipe2") ? -1 : next(ends, flags);
    if (result == 0 && after_pipe != nullptr)
        after_pipe();
    return result;
}
