// The functions of the C library that make directories, links and files, each of which tells what it made. The headers that
// declare them are left out: they may define some of them inline.
#include <asm/fcntl.h>
#include <dlfcn.h>
#include <sys/types.h>

#include <cstdarg>
#include <cstdio>

#include "conformance/watch/creations.h"
#include "conformance/watch/sanitizers.h"
#include "redirect/config_redirect.h"

namespace {

template <typename Function>
Function *next(const char *name) {
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

int told(int result, int descriptor, const char *path) {
    if (result == 0)
        conformance::note_creation(descriptor, path);
    return result;
}

template <typename Open>
int opened(int descriptor, const char *path, int flags, Open open) {
    const bool creates = (flags & O_CREAT) != 0 && conformance::would_create(descriptor, path);
    const int file = open();
    if (creates && file >= 0)
        conformance::note_creation(descriptor, path);
    return file;
}

// fopen itself belongs to the redirection of configuration files.
const bool observes_fopen = [] {
    set_creation_observer(
        [](const char *path) { return conformance::would_create(conformance::working_directory, path); },
        [](const char *path) { conformance::note_creation(conformance::working_directory, path); });
    return true;
}();

}  // namespace

#define EXPORTED extern "C" __attribute__((visibility("default")))

EXPORTED int mkdir(const char *path, mode_t mode) noexcept;
EXPORTED int mkdirat(int descriptor, const char *path, mode_t mode) noexcept;
EXPORTED int symlink(const char *target, const char *path) noexcept;
EXPORTED int symlinkat(const char *target, int descriptor, const char *path) noexcept;
EXPORTED int link(const char *from, const char *path) noexcept;
EXPORTED int rename(const char *from, const char *path) noexcept;
EXPORTED int mkfifo(const char *path, mode_t mode) noexcept;

int mkdir(const char *path, mode_t mode) noexcept {
    static const auto original = next<int(const char *, mode_t)>("mkdir");
    return told(original(path, mode), conformance::working_directory, path);
}

int mkdirat(int descriptor, const char *path, mode_t mode) noexcept {
    static const auto original = next<int(int, const char *, mode_t)>("mkdirat");
    return told(original(descriptor, path, mode), descriptor, path);
}

int symlink(const char *target, const char *path) noexcept {
    static const auto original = next<int(const char *, const char *)>("symlink");
    return told(original(target, path), conformance::working_directory, path);
}

int symlinkat(const char *target, int descriptor, const char *path) noexcept {
    static const auto original = next<int(const char *, int, const char *)>("symlinkat");
    return told(original(target, descriptor, path), descriptor, path);
}

int link(const char *from, const char *path) noexcept {
    static const auto original = next<int(const char *, const char *)>("link");
    return told(original(from, path), conformance::working_directory, path);
}

int rename(const char *from, const char *path) noexcept {
    static const auto original = next<int(const char *, const char *)>("rename");
    return told(original(from, path), conformance::working_directory, path);
}

int mkfifo(const char *path, mode_t mode) noexcept {
    static const auto original = next<int(const char *, mode_t)>("mkfifo");
    return told(original(path, mode), conformance::working_directory, path);
}

EXPORTED FILE *fopen64(const char *path, const char *mode) {
    static const auto original = next<FILE *(const char *, const char *)>("fopen64");
    const bool is_new =
        mode != nullptr && *mode != 'r' && conformance::would_create(conformance::working_directory, path);
    FILE *file = original(path, mode);
    if (is_new && file != nullptr)
        conformance::note_creation(conformance::working_directory, path);
    return file;
}

// A sanitizer keeps books of descriptors in functions of its own under these names.
#if !defined(STSPI_SANITIZED)
EXPORTED int open(const char *path, int flags, ...);
EXPORTED int open64(const char *path, int flags, ...);
EXPORTED int openat(int descriptor, const char *path, int flags, ...);
EXPORTED int openat64(int descriptor, const char *path, int flags, ...);
EXPORTED int creat(const char *path, mode_t mode);

// The mode is there only when a file is to be made; otherwise what is read in its place is not looked at.
#define READ_MODE(last)                      \
    va_list arguments;                       \
    va_start(arguments, last);               \
    const int mode = va_arg(arguments, int); \
    va_end(arguments)

int open(const char *path, int flags, ...) {
    static const auto original = next<int(const char *, int, ...)>("open");
    READ_MODE(flags);
    return opened(conformance::working_directory, path, flags, [&] { return original(path, flags, mode); });
}

int open64(const char *path, int flags, ...) {
    static const auto original = next<int(const char *, int, ...)>("open64");
    READ_MODE(flags);
    return opened(conformance::working_directory, path, flags, [&] { return original(path, flags, mode); });
}

int openat(int descriptor, const char *path, int flags, ...) {
    static const auto original = next<int(int, const char *, int, ...)>("openat");
    READ_MODE(flags);
    return opened(descriptor, path, flags, [&] { return original(descriptor, path, flags, mode); });
}

int openat64(int descriptor, const char *path, int flags, ...) {
    static const auto original = next<int(int, const char *, int, ...)>("openat64");
    READ_MODE(flags);
    return opened(descriptor, path, flags, [&] { return original(descriptor, path, flags, mode); });
}

int creat(const char *path, mode_t mode) {
    static const auto original = next<int(const char *, mode_t)>("creat");
    return opened(conformance::working_directory, path, O_CREAT, [&] { return original(path, mode); });
}
#endif
