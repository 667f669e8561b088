// An open file with the lock on it, if nobody else had that.
//
// The lock is given up explicitly: closing alone would leave it to a child that was forked meanwhile, which has the
// descriptor too.
#pragma once

#include <sys/file.h>

#include <cerrno>
#include <utility>

#include "stsimage/file_descriptor.h"

namespace stsimage {

// Without waiting. False with errno set when there is no lock; EWOULDBLOCK when another one has it.
inline bool lock_now(const FileDescriptor &file) { return flock(file.get(), LOCK_EX | LOCK_NB) == 0; }

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
