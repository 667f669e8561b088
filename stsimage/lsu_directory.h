// The directory behind an LSU text.
//
// It holds the image files and, while images are being written, a directory of unfinished files. Every change of names in
// either is made under a lock on the LSU directory, held for a few system calls only. The kernel gives it up with its
// process, so a killed one leaves nothing locked.
#pragma once

#include <cstdint>
#include <string>

#include "stsimage/file_descriptor.h"

namespace stsimage {

struct LsuDirectory {
    FileDescriptor descriptor;
    std::string path;  // for messages

    // The path of a file in it, for messages.
    std::string path_of(const std::string &file) const { return path + '/' + file; }
};

enum class WhenMissing { fail, make };

// Opens the directory of an LSU text and clears what dead writers left in it. A directory below the root is made when
// asked for, and its name and those above it, with that of the root, flushed, whoever has made them; one that is named by
// its own path never is, since it may be the place where a file system is not mounted.
int32_t open_lsu(const char *text, WhenMissing when_missing, LsuDirectory &out_lsu);

// Holds the lock of an LSU directory.
class LsuLock {
public:
    explicit LsuLock(const LsuDirectory &lsu);
    LsuLock(const LsuLock &) = delete;
    LsuLock &operator=(const LsuLock &) = delete;
    ~LsuLock();

    // Whether there is a lock.
    explicit operator bool() const { return error == 0; }

    // 0, or says why there is no lock.
    int32_t status() const;

private:
    const LsuDirectory &lsu;
    int error = 0;
};

// Makes a directory's new and vanished names last.
int32_t flush_directory(const LsuDirectory &lsu);

}  // namespace stsimage
