#include "tests/unit/stsimage/failing_calls.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/magic.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/vfs.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <utility>

#include "tests/support/next_function.h"

namespace {

thread_local int inside = 0;

Call failing_call = Call::none;
int failing_number = 0;
int failing_error = 0;
Failing failing_kind = Failing::once;
int seen = 0;
bool has_failed = false;
bool limited = false;
uint64_t bytes_left = 0;
size_t longest_transfer = SIZE_MAX;
bool exchanging = true;
std::optional<long> pretended_kind;  // of file system
int waits_made = 0;
bool recording = false;
std::array<int, static_cast<size_t>(Call::none)> counts{};

std::vector<std::string> &recorded() {
    static std::vector<std::string> calls;
    return calls;
}

void note(const char *what) {
    if (inside == 0 || !recording)
        return;
    const int kept = inside;
    inside = 0;  // keeping the record must not be looked at itself
    recorded().emplace_back(what);
    inside = kept;
}

std::vector<std::string> &flushed() {
    static std::vector<std::string> paths;
    return paths;
}

void note_directory(int directory) {
    if (inside == 0 || !recording)
        return;
    const int kept = inside;
    inside = 0;
    flushed().push_back(std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(directory)));
    inside = kept;
}

// Something that a test does in the middle of a call of the library.
struct Interruption {
    int calls_left = 0;
    std::function<void()> action;

    void count_call() {
        if (inside == 0 || calls_left == 0 || --calls_left > 0)
            return;
        const int kept = inside;
        inside = 0;
        action();
        inside = kept;
    }
};

Interruption lock_interruption, flush_interruption, wait_interruption;
std::function<int()> lose_answer;
Call unanswered = Call::none;

int answer(Call call, int result) { return inside > 0 && result == 0 && call == unanswered ? lose_answer() : result; }

}  // namespace

bool fails(Call call) {
    if (inside == 0)
        return false;
    ++counts[static_cast<size_t>(call)];
    if (call != failing_call)
        return false;
    ++seen;
    if (failing_kind == Failing::once ? seen != failing_number : seen < failing_number)
        return false;
    has_failed = true;
    errno = failing_error;
    return true;
}

const char *name_of(Call call) {
    static constexpr const char *names[] = {
        "open",     "mkdir", "write", "read",      "fsync", "rename", "link",       "unlink", "close", "flock",
        "truncate", "stat",  "list",  "duplicate", "seek",  "random", "write_back", "room",   "memory"};
    return names[static_cast<int>(call)];
}

Library::Library() { ++inside; }
Library::~Library() { --inside; }

void fail_call(Call call, int n, int error, Failing failing) {
    failing_call = call;
    failing_number = n;
    failing_error = error;
    failing_kind = failing;
    seen = 0;
    has_failed = false;
}

void limit_written_bytes(uint64_t bytes) {
    limited = true;
    bytes_left = bytes;
    has_failed = false;
}

void refuse_exchanges() { exchanging = false; }

void pretend_to_share() { pretended_kind = NFS_SUPER_MAGIC; }

void pretend_to_be_ext4() { pretended_kind = EXT4_SUPER_MAGIC; }

int waits() { return waits_made; }

void shorten_transfers(size_t most) { longest_transfer = most; }

bool let_calls_pass() {
    longest_transfer = SIZE_MAX;
    exchanging = true;
    pretended_kind.reset();
    waits_made = 0;
    unanswered = Call::none;
    failing_call = Call::none;
    limited = false;
    return has_failed;
}

void count_calls() { counts.fill(0); }

std::map<Call, int> counted_calls() {
    std::map<Call, int> made;
    for (size_t kind = 0; kind < counts.size(); ++kind)
        made[static_cast<Call>(kind)] = counts[kind];
    return made;
}

void record_calls() {
    recorded().clear();
    flushed().clear();
    recording = true;
}

std::vector<std::string> take_recorded_calls() {
    recording = false;
    return std::move(recorded());
}

std::vector<std::string> flushed_directories() { return flushed(); }

void after_lock(int n, std::function<void()> action) { lock_interruption = {n, std::move(action)}; }

void before_flush(int n, std::function<void()> action) { flush_interruption = {n, std::move(action)}; }

void before_wait(int n, std::function<void()> action) { wait_interruption = {n, std::move(action)}; }

void lose_answers(Call call, int error, std::function<void()> action) {
    unanswered = call;
    lose_answer = [error, action = std::move(action)] {
        action();
        has_failed = true;
        errno = error;
        return -1;
    };
}

extern "C" {

int open(const char *path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const auto mode = static_cast<mode_t>((flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, int) : 0);
    va_end(arguments);
    return fails(Call::open) ? -1 : NEXT(open)(path, flags, mode);
}

int openat(int directory, const char *path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const auto mode = static_cast<mode_t>((flags & O_CREAT) != 0 ? va_arg(arguments, int) : 0);
    va_end(arguments);
    return fails(Call::open) ? -1 : NEXT(openat)(directory, path, flags, mode);
}

// Takes as many arguments as any call has, from wherever they would lie: not all of them are there.
[[gnu::no_sanitize_address]] long syscall(long number, ...) {
    va_list arguments;
    va_start(arguments, number);
    long values[6];
    for (long &value : values)
        value = va_arg(arguments, long);
    va_end(arguments);
    if (number == SYS_openat2 && fails(Call::open))
        return -1;
    return NEXT(syscall)(number, values[0], values[1], values[2], values[3], values[4], values[5]);
}

int mkdirat(int directory, const char *path, mode_t mode) {
    return fails(Call::mkdir) ? -1 : NEXT(mkdirat)(directory, path, mode);
}

ssize_t pwrite(int file, const void *data, size_t length, off_t offset) {
    if (fails(Call::write))
        return -1;
    if (inside > 0)
        length = std::min(length, longest_transfer);
    if (inside > 0 && limited) {
        if (bytes_left == 0) {
            has_failed = true;
            errno = ENOSPC;
            return -1;
        }
        length = std::min<uint64_t>(length, bytes_left);
        bytes_left -= length;
    }
    note("write");
    return NEXT(pwrite)(file, data, length, offset);
}

ssize_t pread(int file, void *data, size_t length, off_t offset) {
    if (fails(Call::read))
        return -1;
    return NEXT(pread)(file, data, inside > 0 ? std::min(length, longest_transfer) : length, offset);
}

ssize_t preadv(int file, const iovec *parts, int count, off_t offset) {
    if (fails(Call::read))
        return -1;
    if (inside > 0 && longest_transfer != SIZE_MAX)
        return NEXT(pread)(file, parts->iov_base, std::min(parts->iov_len, longest_transfer), offset);
    return NEXT(preadv)(file, parts, count, offset);
}

int fsync(int file) {
    flush_interruption.count_call();
    if (fails(Call::fsync))
        return -1;
    struct stat state;
    const bool is_directory = NEXT(fstat)(file, &state) == 0 && S_ISDIR(state.st_mode);
    note(is_directory ? "fsync directory" : "fsync file");
    if (is_directory)
        note_directory(file);
    return NEXT(fsync)(file);
}

int renameat(int from, const char *old_path, int to, const char *new_path) noexcept {
    if (fails(Call::rename))
        return -1;
    note("rename");
    return answer(Call::rename, NEXT(renameat)(from, old_path, to, new_path));
}

int renameat2(int from, const char *old_path, int to, const char *new_path, unsigned int flags) noexcept {
    if (fails(Call::rename))
        return -1;
    if (inside > 0 && !exchanging && (flags & RENAME_EXCHANGE) != 0) {
        errno = EINVAL;
        return -1;
    }
    note("exchange");
    return answer(Call::rename, NEXT(renameat2)(from, old_path, to, new_path, flags));
}

int linkat(int from, const char *old_path, int to, const char *new_path, int flags) noexcept {
    if (fails(Call::link))
        return -1;
    note("link");
    return NEXT(linkat)(from, old_path, to, new_path, flags);
}

int unlinkat(int directory, const char *path, int flags) noexcept {
    if (fails(Call::unlink))
        return -1;
    note(flags == 0 ? "unlink" : "rmdir");
    return answer(Call::unlink, NEXT(unlinkat)(directory, path, flags));
}

int sync_file_range(int file, off64_t offset, off64_t length, unsigned int flags) {
    return fails(Call::write_back) ? -1 : NEXT(sync_file_range)(file, offset, length, flags);
}

int fallocate(int file, int mode, off64_t offset, off64_t length) {
    if (fails(Call::room))
        return -1;
    const int result = NEXT(fallocate)(file, mode, offset, length);
    const bool is_pretending = inside > 0 && pretended_kind;
    return result != 0 && errno == EOPNOTSUPP && is_pretending ? 0 : result;
}

// A close that fails has closed all the same.
int close(int file) {
    const int result = NEXT(close)(file);
    return fails(Call::close) ? -1 : result;
}

int flock(int file, int operation) noexcept {
    if (fails(Call::flock))
        return -1;
    const int result = NEXT(flock)(file, operation);
    if (result == 0 && (operation & LOCK_EX) != 0)
        lock_interruption.count_call();
    return result;
}

int ftruncate(int file, off_t length) noexcept { return fails(Call::truncate) ? -1 : NEXT(ftruncate)(file, length); }

int fstat(int file, struct stat *state) noexcept { return fails(Call::stat) ? -1 : NEXT(fstat)(file, state); }

int fstatat(int directory, const char *path, struct stat *state, int flags) noexcept {
    return fails(Call::stat) ? -1 : NEXT(fstatat)(directory, path, state, flags);
}

int fstatfs(int file, struct statfs *state) noexcept {
    const int result = NEXT(fstatfs)(file, state);
    if (inside > 0 && pretended_kind)
        state->f_type = *pretended_kind;
    return result;
}

int nanosleep(const timespec *wanted, timespec *left) {
    if (inside == 0)
        return NEXT(nanosleep)(wanted, left);
    ++waits_made;
    wait_interruption.count_call();
    return 0;
}

DIR *fdopendir(int file) { return fails(Call::list) ? nullptr : NEXT(fdopendir)(file); }

dirent *readdir(DIR *directory) { return fails(Call::list) ? nullptr : NEXT(readdir)(directory); }

ssize_t getdents64(int file, void *to, size_t n) { return fails(Call::list) ? -1 : NEXT(getdents64)(file, to, n); }

int fcntl(int file, int command, ...) {
    va_list arguments;
    va_start(arguments, command);
    void *argument = va_arg(arguments, void *);
    va_end(arguments);
    return fails(Call::duplicate) ? -1 : NEXT(fcntl)(file, command, argument);
}

off_t lseek(int file, off_t offset, int whence) noexcept {
    return fails(Call::seek) ? -1 : NEXT(lseek)(file, offset, whence);
}

ssize_t getrandom(void *buffer, size_t length, unsigned int flags) {
    return fails(Call::random) ? -1 : NEXT(getrandom)(buffer, length, flags);
}

}  // extern "C"
