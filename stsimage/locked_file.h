// An open file with the lock on it, if nobody else had that.
//
// The lock is given up explicitly: closing alone would leave it to a child that was forked meanwhile, which has the
// descriptor too.
#pragma once

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <utility>

#include "stsimage/file_descriptor.h"

namespace stsimage {

// Without waiting. False with errno set when there is no lock; EWOULDBLOCK when another one has it.
inline bool lock_now(const FileDescriptor &file) { return flock(file.get(), LOCK_EX | LOCK_NB) == 0; }

// O_NONBLOCK: whatever lies there in place of a file, opening it must not wait.
constexpr int open_to_lock = O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;

// Opens a file to be locked, for writing as well if that may be: file servers give an exclusive lock on no other terms.
inline FileDescriptor open_existing_to_lock(int directory, const char *name) {
    FileDescriptor file(openat(directory, name, O_RDWR | open_to_lock));
    if (file || (errno != EACCES && errno != EPERM && errno != EROFS && errno != EISDIR))
        return file;
    return FileDescriptor(openat(directory, name, O_RDONLY | open_to_lock));
}

class LockedFile {
public:
    LockedFile() = default;

    // Leaves errno as opening or locking has left it.
    explicit LockedFile(FileDescriptor opened) : file(std::move(opened)), locked(file && lock_now(file)) {}

    LockedFile(LockedFile &&other) noexcept : file(std::move(other.file)), locked(std::exchange(other.locked, false)) {}
    LockedFile &operator=(LockedFile &&other) noexcept {
        std::swap(file, other.file);
        std::swap(locked, other.locked);
        return *this;
    }
    ~LockedFile() {
        if (!locked)
            return;
        const int error = errno;
        flock(file.get(), LOCK_UN);
        errno = error;
    }

    bool is_locked() const { return locked; }
    const FileDescriptor &descriptor() const { return file; }

private:
    FileDescriptor file;
    bool locked = false;
};

}  // namespace stsimage
