// The directory behind an LSU text.
//
// It holds the image files and, while images are being written, a directory of unfinished files. Every change of names in
// either is made under a lock, held for a few system calls only. Locks on directories exclude no other host: where there may be
// others, it is that of a file that lies in the directory for this. The kernel or the file server gives it up with its
// process or host, so a killed one leaves nothing locked.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "stsimage/file_descriptor.h"
#include "stsimage/store.h"

namespace stsimage {

struct LsuDirectory {
    FileDescriptor descriptor;
    std::string path;  // for messages

    // The path of a file in it, for messages.
    std::string path_of(const std::string &file) const { return path + '/' + file; }
};

// That file. It is made when names are first changed on a file system that other hosts may write to, and stays. It is heeded
// wherever it is: other hosts may share a local directory by way of this one.
constexpr char lock_file[] = ".stsimg-lock";

// Opens the directory of an LSU text that is acceptable as such. A directory below the root is made when asked for, and its
// name and those above it, with that of the root, flushed, whoever has made them; one that is named by its own path never is,
// since it may be the place where a file system is not mounted.
int32_t open_lsu(std::string_view text, WhenMissing when_missing, LsuDirectory &out_lsu);

// Opens the root directory itself.
int32_t open_root_of_lsus(LsuDirectory &out_root);

// Holds the lock of an LSU directory: the directory's own, which earlier versions of the library heed, and that of the file.
// Where the file can neither be found nor made (a full file system, a directory that may not be written to), the
// directory's must do.
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

    // The same as an errno value.
    int error_number() const { return error; }

private:
    void lock_directory();
    void lock_file_in_it();

    const LsuDirectory &lsu;
    FileDescriptor file;
    bool directory_locked = false;
    int error = 0;
};

// Makes a directory's new and vanished names last.
int32_t flush_directory(const LsuDirectory &lsu);

}  // namespace stsimage
