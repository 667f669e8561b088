#include "stsimage/directory_opening.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <cerrno>

#include "stsimage/unfinished_files.h"

namespace stsimage {

namespace {

FileDescriptor resolve(int base, const std::string &path, uint64_t restrictions) {
    open_how how{};
    how.flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
    how.resolve = restrictions;
    long result;
    do {
        result = syscall(SYS_openat2, base, path.c_str(), &how, sizeof how);
    } while (result < 0 && (errno == EINTR || errno == EAGAIN));  // EAGAIN: something was renamed on the way
    return FileDescriptor(static_cast<int>(result));
}

bool is_same(const struct stat &one, const struct stat &other) {
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

// Looks whether a directory is one of unfinished images or lies in one: 0 if not, EXDEV if so, or why that cannot be seen.
int look_for_unfinished_above(const FileDescriptor &directory) {
    const std::string unfinished_sibling = std::string("../").append(unfinished_directory);
    FileDescriptor at(openat(directory.get(), ".", O_PATH | O_DIRECTORY | O_CLOEXEC));
    struct stat here, above, unfinished;
    while (at && fstat(at.get(), &here) == 0 && fstatat(at.get(), "..", &above, 0) == 0) {
        if (is_same(here, above))
            return 0;  // the root of all directories
        if (fstatat(at.get(), unfinished_sibling.c_str(), &unfinished, AT_SYMLINK_NOFOLLOW) != 0) {
            if (errno != ENOENT)
                break;
        } else if (is_same(here, unfinished)) {
            return EXDEV;
        }
        at = FileDescriptor(openat(at.get(), "..", O_PATH | O_DIRECTORY | O_CLOEXEC));
    }
    return errno;
}

// The text itself has been checked, so only links can lead into a directory of unfinished images.
FileDescriptor open_outside_unfinished(int base, const std::string &path, uint64_t restrictions) {
    FileDescriptor directory = resolve(base, path, restrictions | RESOLVE_NO_SYMLINKS);
    if (directory || errno != ELOOP)
        return directory;
    directory = resolve(base, path, restrictions);
    if (!directory)
        return directory;
    const int error = look_for_unfinished_above(directory);
    if (error == 0)
        return directory;
    errno = error;
    return FileDescriptor();
}

}  // namespace

FileDescriptor open_directory(const std::string &path) { return open_outside_unfinished(AT_FDCWD, path, 0); }

FileDescriptor open_directory_below(const FileDescriptor &base, const std::string &path) {
    return open_outside_unfinished(base.get(), path, RESOLVE_BENEATH | RESOLVE_NO_MAGICLINKS);
}

}  // namespace stsimage
