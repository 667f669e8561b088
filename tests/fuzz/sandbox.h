// A file system of the fuzz target's own: whatever absolute path the code under test names, what it makes lies below one
// private directory.
//
// The target is linked with --wrap for the system calls that take such paths: mkdir, symlink, stat, unlink, statvfs and
// openat2. Paths are resolved as text first, so ".." does not lead out.
#pragma once

#include <string>

// While one lives, the calls go to the sandbox: the fuzzer itself, which looks for its files, is left alone.
class InSandbox {
public:
    InSandbox();
    ~InSandbox();
    InSandbox(const InSandbox &) = delete;
    InSandbox &operator=(const InSandbox &) = delete;
};

// Where the path lies in truth. A relative path stays as it is.
std::string sandboxed(const std::string &path);

// Makes a directory and those above it, in the sandbox.
void make_directories(const std::string &path);

// Takes everything out of the sandbox.
void empty_sandbox();
