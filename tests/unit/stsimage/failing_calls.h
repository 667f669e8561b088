// System calls of the image library that fail when a test says so.
//
// The program defines the C library's functions itself, which the dynamic linker prefers for every library: so the image
// library under test is the very file that ships. Only calls made inside a Library scope are looked at.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

enum class Call {
    open,  // open, openat and openat2
    mkdir,
    write,
    read,
    fsync,
    rename,
    link,
    unlink,
    close,
    flock,
    truncate,
    stat,
    list,  // fdopendir, readdir and getdents64
    duplicate,
    seek,
    random,
    write_back,
    room,  // fallocate
    memory,
    none
};

const char *name_of(Call call);

// Marks the thread's calls as the library's while it lives.
class Library {
public:
    Library();
    ~Library();
};

// Lets the n-th call of a kind fail with an errno value, or that one and all later ones. The first is 1.
enum class Failing { once, from_then_on };
void fail_call(Call call, int n, int error, Failing failing);

// Lets writing fail with ENOSPC after so many bytes, the write that meets the limit being cut short first.
void limit_written_bytes(uint64_t bytes);

// Lets no read or write transfer more bytes than that in one call.
void shorten_transfers(size_t most);

// Lets no two names be exchanged, which is how file systems of clusters are.
void refuse_exchanges();

// Lets the file system look like one that other hosts may write to.
void pretend_to_share();

// Lets the file system look like ext4.
void pretend_to_be_ext4();

// How often the library has waited since then, which it does not have to here.
int waits();

// Undoes all of it. Returns whether any call has failed.
bool let_calls_pass();

// How many calls of each kind the library has made since counting began.
void count_calls();
std::map<Call, int> counted_calls();

// The order of calls that change what is on the disk, since the last clear: "write", "fsync file", "rename", ...
std::vector<std::string> take_recorded_calls();
void record_calls();

// The directories among what was flushed in that time.
std::vector<std::string> flushed_directories();

// Does something when the library has got the n-th lock from now on.
void after_lock(int n, std::function<void()> action);

// Does something when the library is about to flush for the n-th time from now on.
void before_flush(int n, std::function<void()> action);

// Does something when the library waits for the n-th time from now on.
void before_wait(int n, std::function<void()> action);

// Lets every renaming or unlinking say that error although it was made, and does something then.
void lose_answers(
    Call call, int error, std::function<void()> action = [] {});

// Whether this call, which is about to be made, is to fail: then it has set errno.
bool fails(Call call);
