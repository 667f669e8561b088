#include "simhost/host/failed_file_call.h"

#include <dlfcn.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <mutex>

#include "base/escaped_text.h"

namespace {

std::mutex failure_mutex;

std::string &last_failure() {
    static std::string text;
    return text;
}

}  // namespace

void forget_failed_file_call() {
    const std::lock_guard<std::mutex> lock(failure_mutex);
    last_failure().clear();
}

void note_failed_file_call(const char *what, const char *path) {
    const int error = errno;
    if (error != EEXIST) {
        const std::lock_guard<std::mutex> lock(failure_mutex);
        last_failure() = fmt::format(fmt::runtime(what), printable(path)) + ": " + std::strerror(error);
    }
    errno = error;
}

std::string failed_file_call() {
    const std::lock_guard<std::mutex> lock(failure_mutex);
    return last_failure();
}

extern "C" __attribute__((visibility("default"))) int symlink(const char *target, const char *path) noexcept {
    static const auto next = reinterpret_cast<int (*)(const char *, const char *)>(dlsym(RTLD_NEXT, "symlink"));
    const int result = next(target, path);
    if (result != 0)
        note_failed_file_call("the link {} could not be made", path);
    return result;
}

extern "C" __attribute__((visibility("default"))) int unlink(const char *path) noexcept {
    static const auto next = reinterpret_cast<int (*)(const char *)>(dlsym(RTLD_NEXT, "unlink"));
    const int result = next(path);
    if (result != 0)
        note_failed_file_call("{} could not be replaced", path);
    return result;
}
