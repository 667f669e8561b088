#include "stsimage/probe/two_mounts.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <exception>
#include <future>
#include <stdexcept>
#include <thread>

#include "stsimage/locked_file.h"
#include "stsimage/probe/probe_file.h"

namespace stsimage::probe {

namespace {

constexpr int rounds = 100;

struct Mounts {
    std::string here;
    std::string there;
};

// How often something did not hold, of so many rounds.
struct Tally {
    int tried = 1;
    int otherwise = 0;
};

void rename_or_throw(const std::string &from, const std::string &to) {
    if (rename(from.c_str(), to.c_str()) != 0)
        throw std::runtime_error("cannot rename " + from);
}

Tally exclude(const Mounts &mounts, const char *name, int flags) {
    const FileDescriptor first = open_or_throw(mounts.here + name, flags);
    const FileDescriptor second = open_or_throw(mounts.there + name, flags);
    if (!lock_now(first))
        throw std::runtime_error("no lock is given at all");
    return {1, lock_now(second) ? 1 : 0};
}

Tally lock_excludes_other_host(const Mounts &mounts) {
    write_file(mounts.here + "/locked 2", "");
    return exclude(mounts, "/locked 2", O_RDWR);
}

Tally lock_of_directory_excludes_other_host(const Mounts &mounts) {
    return exclude(mounts, "", O_RDONLY | O_DIRECTORY);
}

Tally lock_of_dead_is_free_for_other_host(const Mounts &mounts) {
    write_file(mounts.here + "/killed 2", "");
    lock_and_be_killed(mounts.here + "/killed 2");
    const FileDescriptor file = open_or_throw(mounts.there + "/killed 2", O_RDWR);
    for (int attempt = 0; attempt < 50; ++attempt) {
        if (lock_now(file))
            return {1, 0};
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return {1, 1};
}

bool make_alone(const std::string &path) {
    return static_cast<bool>(FileDescriptor(open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600)));
}

Tally file_is_made_by_one_host(const Mounts &mounts) {
    Tally tally{rounds};
    for (int round = 0; round < rounds; ++round) {
        const std::string name = "/once " + std::to_string(round);
        std::future<bool> other = std::async(std::launch::async, make_alone, mounts.there + name);
        const bool one = make_alone(mounts.here + name);
        tally.otherwise += one == other.get() ? 1 : 0;
    }
    return tally;
}

// The sizes differ from round to round: an old one would show.
std::string content_of_round(int round) {
    return std::string(static_cast<size_t>(1 + round % 7), static_cast<char>('a' + round % 26)) + std::to_string(round);
}

Tally new_name_is_seen(const Mounts &mounts) {
    Tally tally{rounds};
    for (int round = 0; round < rounds; ++round) {
        const std::string content = content_of_round(round);
        write_file(mounts.here + "/unfinished", content);
        // The other host looks at the file before it gets its name, as it does when it clears up.
        struct stat looked_at;
        stat((mounts.there + "/unfinished").c_str(), &looked_at);
        rename_or_throw(mounts.here + "/unfinished", mounts.here + "/published");
        tally.otherwise += content_of(mounts.there + "/published") == content ? 0 : 1;
    }
    return tally;
}

Tally removed_name_is_gone(const Mounts &mounts) {
    Tally tally{rounds};
    for (int round = 0; round < rounds; ++round) {
        write_file(mounts.here + "/removed", "x");
        content_of(mounts.there + "/removed");
        unlink((mounts.here + "/removed").c_str());
        tally.otherwise += access((mounts.there + "/removed").c_str(), F_OK) == 0 ? 1 : 0;
    }
    return tally;
}

Tally open_handle_sees_what_is_written(const Mounts &mounts) {
    write_file(mounts.here + "/growing", "");
    const FileDescriptor reader = open_or_throw(mounts.there + "/growing", O_RDONLY);
    Tally tally{rounds};
    for (int round = 0; round < rounds; ++round) {
        const std::string content = content_of_round(round);
        write_file(mounts.here + "/growing", content);
        tally.otherwise += content_of(reader) == content ? 0 : 1;
    }
    return tally;
}

// What is cached is dropped, so that the server has to be asked.
bool still_reads(const FileDescriptor &reader, const std::string &content) {
    posix_fadvise(reader.get(), 0, 0, POSIX_FADV_DONTNEED);
    return content_of(reader) == content;
}

Tally reader_keeps_what_is_replaced(const Mounts &mounts) {
    write_file(mounts.here + "/kept", "old");
    const FileDescriptor reader = open_or_throw(mounts.there + "/kept", O_RDONLY);
    write_file(mounts.here + "/new", "new");
    rename_or_throw(mounts.here + "/new", mounts.here + "/kept");
    return {1, still_reads(reader, "old") ? 0 : 1};
}

Tally reader_keeps_what_is_removed(const Mounts &mounts) {
    write_file(mounts.here + "/gone", "old");
    const FileDescriptor reader = open_or_throw(mounts.there + "/gone", O_RDONLY);
    unlink((mounts.here + "/gone").c_str());
    return {1, still_reads(reader, "old") ? 0 : 1};
}

struct CheckBetween {
    const char *what;
    Tally (*try_it)(const Mounts &mounts);
    bool needed;
};

constexpr CheckBetween checks_between[] = {
    {"a lock on a file excludes the other host", lock_excludes_other_host, true},
    {"a lock on a directory excludes the other host", lock_of_directory_excludes_other_host, false},
    {"the lock of a killed process is free for it", lock_of_dead_is_free_for_other_host, true},
    {"a file is made by one host only (O_EXCL)", file_is_made_by_one_host, true},
    {"a new name and all behind it is seen at once", new_name_is_seen, false},
    {"a removed name is gone at once", removed_name_is_gone, false},
    {"an open handle sees what the other host writes", open_handle_sees_what_is_written, false},
    {"a reader keeps what the other host replaces", reader_keeps_what_is_replaced, false},
    {"a reader keeps what the other host removes", reader_keeps_what_is_removed, false},
};

Finding find_out(const CheckBetween &check, const Mounts &mounts) {
    try {
        const Tally tally = check.try_it(mounts);
        const std::string detail =
            tally.tried == 1 || tally.otherwise == 0
                ? ""
                : "not in " + std::to_string(tally.otherwise) + " of " + std::to_string(tally.tried);
        return found(check.what, tally.otherwise == 0, check.needed, detail);
    } catch (const std::exception &trouble) {
        return {check.what, Answer::cannot_tell, check.needed, trouble.what()};
    }
}

}  // namespace

std::vector<Finding> try_two_mounts(const std::string &here, const std::string &there) {
    const Mounts mounts{here, there};
    std::vector<Finding> findings;
    findings.reserve(std::size(checks_between));
    for (const CheckBetween &check : checks_between)
        findings.push_back(find_out(check, mounts));
    return findings;
}

}  // namespace stsimage::probe
