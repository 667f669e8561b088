#include "stsimage/probe/one_mount.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <exception>

#include "stsimage/locked_file.h"
#include "stsimage/probe/probe_file.h"

namespace stsimage::probe {

namespace {

bool second_lock_is_refused(const std::string &path, int flags) {
    const FileDescriptor first = open_or_throw(path, flags), second = open_or_throw(path, flags);
    return lock_now(first) && !lock_now(second);
}

bool lock_excludes(const std::string &directory) {
    write_file(directory + "/locked", "");
    return second_lock_is_refused(directory + "/locked", O_RDWR);
}

bool lock_of_directory_excludes(const std::string &directory) {
    return second_lock_is_refused(directory, O_RDONLY | O_DIRECTORY);
}

bool lock_ends_with_its_process(const std::string &directory) {
    const std::string path = directory + "/killed";
    write_file(path, "");
    lock_and_be_killed(path);
    return lock_now(open_or_throw(path, O_RDWR));
}

bool file_is_made_once(const std::string &directory) {
    const std::string path = directory + "/once";
    constexpr int flags = O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC;
    const FileDescriptor first(open(path.c_str(), flags, 0600)), second(open(path.c_str(), flags, 0600));
    return first && !second;
}

bool rename_replaces(const std::string &directory) {
    write_file(directory + "/old", "old");
    write_file(directory + "/new", "new");
    return rename((directory + "/new").c_str(), (directory + "/old").c_str()) == 0 &&
           content_of(directory + "/old") == "new" && content_of(directory + "/new").empty();
}

bool names_can_be_exchanged(const std::string &directory) {
    write_file(directory + "/one", "one");
    write_file(directory + "/two", "two");
    return renameat2(AT_FDCWD, (directory + "/one").c_str(), AT_FDCWD, (directory + "/two").c_str(), RENAME_EXCHANGE) ==
               0 &&
           content_of(directory + "/one") == "two" && content_of(directory + "/two") == "one";
}

bool file_can_have_two_names(const std::string &directory) {
    write_file(directory + "/linked", "linked");
    return link((directory + "/linked").c_str(), (directory + "/second name").c_str()) == 0 &&
           content_of(directory + "/second name") == "linked";
}

bool directory_can_be_flushed(const std::string &directory) {
    return fsync(open_or_throw(directory, O_RDONLY | O_DIRECTORY).get()) == 0;
}

bool path_is_kept_inside(const std::string &directory) {
    const FileDescriptor base = open_or_throw(directory, O_RDONLY | O_DIRECTORY);
    open_how how{};
    how.flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
    how.resolve = RESOLVE_BENEATH;
    const FileDescriptor inside(static_cast<int>(syscall(SYS_openat2, base.get(), ".", &how, sizeof how)));
    const FileDescriptor outside(static_cast<int>(syscall(SYS_openat2, base.get(), "..", &how, sizeof how)));
    return inside && !outside;
}

bool hole_takes_no_room(const std::string &directory) {
    constexpr off_t far = 64 << 20;
    const FileDescriptor file = open_or_throw(directory + "/hole", O_RDWR | O_CREAT);
    struct stat state;
    return pwrite(file.get(), "x", 1, far) == 1 && fsync(file.get()) == 0 && fstat(file.get(), &state) == 0 &&
           state.st_size == far + 1 && state.st_blocks < far / 512 / 2;
}

struct Check {
    const char *what;
    bool (*holds)(const std::string &directory);
    bool needed;
};

constexpr Check checks[] = {
    {"a lock on a file excludes others", lock_excludes, true},
    {"a lock on a directory excludes others", lock_of_directory_excludes, false},
    {"the lock of a killed process is free", lock_ends_with_its_process, true},
    {"a file is made by one only (O_EXCL)", file_is_made_once, true},
    {"a renamed file replaces another", rename_replaces, true},
    {"two names can be exchanged", names_can_be_exchanged, false},
    {"a file can have two names", file_can_have_two_names, false},
    {"a directory can be flushed", directory_can_be_flushed, true},
    {"a path can be kept inside (openat2)", path_is_kept_inside, true},
    {"a hole takes no room", hole_takes_no_room, false},
};

}  // namespace

std::vector<Finding> try_one_mount(const std::string &directory) {
    std::vector<Finding> findings;
    findings.reserve(std::size(checks));
    for (const Check &check : checks) {
        try {
            findings.push_back(found(check.what, check.holds(directory), check.needed));
        } catch (const std::exception &trouble) {
            findings.push_back({check.what, Answer::cannot_tell, check.needed, trouble.what()});
        }
    }
    return findings;
}

}  // namespace stsimage::probe
