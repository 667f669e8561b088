#include "tests/fuzz/sandbox.h"

#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace {

// In memory when there is such a place: images are flushed, which takes its time elsewhere.
class Root {
public:
    Root() {
        const char *place = std::getenv("TMPDIR");
        m_path = place != nullptr ? place : access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
        m_path += "/fuzz-XXXXXX";
        if (mkdtemp(m_path.data()) == nullptr) {
            std::perror(m_path.c_str());
            std::abort();
        }
    }
    ~Root() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    Root(const Root &) = delete;
    Root &operator=(const Root &) = delete;
    const std::string &path() const { return m_path; }

private:
    std::string m_path;
};

bool is_in_force = false;

const std::string &root() {
    static const Root directory;
    return directory.path();
}

std::string redirected(const char *path) { return is_in_force ? sandboxed(path) : path; }

}  // namespace

InSandbox::InSandbox() { is_in_force = true; }
InSandbox::~InSandbox() { is_in_force = false; }

std::string sandboxed(const std::string &path) {
    if (path.empty() || path[0] != '/' || path.compare(0, root().size(), root()) == 0)
        return path;
    return root() + std::filesystem::path(path).lexically_normal().string();
}

void make_directories(const std::string &path) { std::filesystem::create_directories(sandboxed(path)); }

void empty_sandbox() {
    for (const auto &entry : std::filesystem::directory_iterator(root()))
        std::filesystem::remove_all(entry.path());
}

extern "C" {

int __real_mkdir(const char *path, mode_t mode);
int __real_symlink(const char *target, const char *path);
int __real_stat(const char *path, struct stat *state);
int __real_unlink(const char *path);
int __real_statvfs(const char *path, struct statvfs *state);
long __real_syscall(long number, ...);

int __wrap_mkdir(const char *path, mode_t mode) { return __real_mkdir(redirected(path).c_str(), mode); }
int __wrap_symlink(const char *target, const char *path) { return __real_symlink(target, redirected(path).c_str()); }
int __wrap_stat(const char *path, struct stat *state) { return __real_stat(redirected(path).c_str(), state); }
int __wrap_unlink(const char *path) { return __real_unlink(redirected(path).c_str()); }
int __wrap_statvfs(const char *path, struct statvfs *state) { return __real_statvfs(redirected(path).c_str(), state); }

// As syscall itself, this takes six arguments from callers that gave fewer; the address sanitizer would object.
__attribute__((no_sanitize("address"))) long __wrap_syscall(long number, ...) {
    va_list list;
    va_start(list, number);
    long arguments[6];
    for (long &argument : arguments)
        argument = va_arg(list, long);
    va_end(list);
    std::string path;
    if (number == SYS_openat2) {
        path = redirected(reinterpret_cast<const char *>(arguments[1]));
        arguments[1] = reinterpret_cast<long>(path.c_str());
    }
    return __real_syscall(number, arguments[0], arguments[1], arguments[2], arguments[3], arguments[4], arguments[5]);
}

}  // extern "C"
