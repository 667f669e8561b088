#include "stsimage/lsu_directory.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "stsimage/directory_opening.h"
#include "stsimage/last_error.h"
#include "stsimage/lasting_directories.h"
#include "stsimage/locked_file.h"
#include "stsimage/lsu_text.h"
#include "stsimage/never_destroyed.h"
#include "stsimage/passing_trouble.h"
#include "stsimage/quoted_text.h"
#include "stsimage/unfinished_files.h"
#include "stspi/stsimg.h"

namespace stsimage {

namespace {

constexpr char default_root[] = "/var/lib/stsimage";
constexpr mode_t directory_mode = 0700;
constexpr mode_t lock_file_mode = 0666;  // less the umask: whoever may change the directory may lock it

// What no component may be. An absolute text is the caller's own choice of a directory and may lead through "..".
int32_t check_components(std::string_view text) {
    const bool is_absolute = text.front() == '/';
    for (size_t begin = 0; begin <= text.size();) {
        const size_t end = std::min(text.find('/', begin), text.size());
        const std::string_view component = text.substr(begin, end - begin);
        if (!is_absolute && (component == "." || component == ".."))
            return refuse_lsu_text(text, "has the component \".\" or \"..\"");
        if (component == unfinished_directory)
            return refuse_lsu_text(text, "names the library's own directory of unfinished images");
        begin = end + 1;
    }
    return 0;
}

// What is wrong with a path that leads to no directory; null when the system cannot get there for another reason.
const char *objection(int error) {
    switch (error) {
        case ENOTDIR:
            return "leads to something that is not a directory";
        case EXDEV:
            return "leads out of the root directory, or among unfinished images, through a link";
        case ELOOP:
            return "leads through too many links";
        case ENAMETOOLONG:
            return "has a component that is too long";
        default:
            return nullptr;
    }
}

// Says why a directory did not open, from errno.
int32_t cannot_open(const std::string &path, std::string_view text) {
    const int error = errno;
    if (error == ENOENT)
        return fail(STS_E_NOT_FOUND, "the directory %s of the LSU text %s does not exist", QuotedText(path).c_str(),
                    QuotedText(text).c_str());
    if (const char *why = objection(error); why != nullptr)
        return refuse_lsu_text(text, why);
    return fail_system(error, "cannot open the directory %s of the LSU text %s", QuotedText(path).c_str(),
                       QuotedText(text).c_str());
}

int32_t cannot_open_root(const std::string &path, const char *kind) {
    const int error = errno;
    const QuotedText shown(path);
    if (error == ENOENT)
        return fail(STS_E_NOT_FOUND, "%s %s does not exist", kind, shown.c_str());
    if (const char *why = objection(error); why != nullptr)
        return fail(STSIMG_E_INVALID_LSU, "%s %s %s", kind, shown.c_str(), why);
    return fail_system(error, "cannot open %s %s", kind, shown.c_str());
}

// Makes a directory unless it is there, and sees to it that its name lasts. Also when it was there: whoever made it may not
// have come so far.
int32_t make_directory(const FileDescriptor &parent, const std::string &name, const std::string &path) {
    const bool made = mkdirat(parent.get(), name.c_str(), directory_mode) == 0;
    if (!made && errno != EEXIST)
        return fail_system(errno, "cannot make the directory %s", QuotedText(path).c_str());
    if (fsync(parent.get()) == 0)
        return 0;
    const int error = errno;
    if (made)
        unlinkat(parent.get(), name.c_str(), AT_REMOVEDIR);  // or the next one would take it for safely made
    return fail_system(error, "cannot flush the parent of the directory %s", QuotedText(path).c_str());
}

// Makes the root directory itself; its parent must be there.
int32_t make_root(const std::string &root) {
    const size_t end = root.find_last_not_of('/');
    const size_t slash = root.rfind('/', end);
    if (end == root.npos || slash == root.npos)
        return 0;
    const std::string parent_path = root.substr(0, slash + 1);
    const FileDescriptor parent = open_directory(parent_path);
    if (!parent)
        return cannot_open_root(parent_path, "the parent of the root directory of images");
    return make_directory(parent, root.substr(slash + 1, end - slash), root);
}

int32_t open_root(const std::string &root, WhenMissing when_missing, FileDescriptor &out_root) {
    if (root.empty() || root.front() != '/')
        return fail(STSIMG_E_INVALID_LSU, "STSIMAGE_ROOT is %s, which is not an absolute path",
                    QuotedText(root).c_str());
    out_root = open_directory(root);
    if (!out_root && errno == ENOENT && when_missing == WhenMissing::make) {
        if (const int32_t status = make_root(root); status != 0)
            return status;
        out_root = open_directory(root);
    }
    return out_root ? 0 : cannot_open_root(root, "the root directory of images");
}

// Makes the components of a text below the root that are missing, and sees to it that the names of all of them last.
int32_t make_below(const FileDescriptor &root, const std::string &root_path, const std::string &text, bool is_there) {
    for (size_t begin = 0; begin < text.size();) {
        const size_t end = std::min(text.find('/', begin), text.size());
        if (end > begin) {
            const std::string parent_path = begin == 0 ? "." : text.substr(0, begin);
            const FileDescriptor parent = open_directory_below(root, parent_path);
            // One that may not be read is somebody else's, who has made what is in it.
            if (!parent && !(is_there && errno == EACCES))
                return cannot_open(std::string(root_path).append("/").append(parent_path), text);
            const std::string name = text.substr(begin, end - begin);
            if (parent)
                if (const int32_t status = make_directory(parent, name, root_path + '/' + text.substr(0, end));
                    status != 0)
                    return status;
        }
        begin = end + 1;
    }
    return 0;
}

// The same for the name of the root itself, as far as its parent may be read.
int32_t flush_name_of_root(const FileDescriptor &root, const std::string &root_path) {
    const FileDescriptor parent(openat(root.get(), "..", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!parent || fsync(parent.get()) == 0 || errno == EINVAL)  // EINVAL: its file system cannot, being read-only
        return 0;
    return fail_system(errno, "cannot flush the parent of the root directory of images %s",
                       QuotedText(root_path).c_str());
}

// Returns 0 or an errno value.
int wait_for_lock(int file) {
    int result;
    do {
        result = flock(file, LOCK_EX);
    } while (result != 0 && errno == EINTR);
    return result == 0 ? 0 : errno;
}

// Makes the lock file. Where that cannot be done there is none to be had: a full file system lets images be deleted all the
// same, and a directory that may not be written to refuses what is asked of it by itself.
FileDescriptor make_lock_file(int directory, bool &out_cannot_be) {
    FileDescriptor made(openat(directory, lock_file, open_to_lock | O_RDWR | O_CREAT, lock_file_mode));
    out_cannot_be =
        !made && (errno == ENOSPC || errno == EDQUOT || errno == EROFS || errno == EACCES || errno == EPERM);
    return made;
}

NeverDestroyed<LastingDirectories> lasting_directories;

std::string path_of_root() {
    const char *const setting = std::getenv("STSIMAGE_ROOT");
    return setting != nullptr ? setting : default_root;
}

int32_t open_below_root(const std::string &text, WhenMissing when_missing, LsuDirectory &out_lsu) {
    const std::string root_path = path_of_root();
    out_lsu.path = root_path + '/' + text;
    FileDescriptor root;
    if (const int32_t status = open_root(root_path, when_missing, root); status != 0)
        return status;
    out_lsu.descriptor = open_directory_below(root, text);
    const bool is_there = static_cast<bool>(out_lsu.descriptor);
    if (!is_there && errno != ENOENT)
        return cannot_open(out_lsu.path, text);
    if (when_missing == WhenMissing::make && !(is_there && lasting_directories->has(out_lsu.descriptor))) {
        if (const int32_t status = flush_name_of_root(root, root_path); status != 0)
            return status;
        if (const int32_t status = make_below(root, root_path, text, is_there); status != 0)
            return status;
        out_lsu.descriptor = open_directory_below(root, text);
        if (out_lsu.descriptor)
            lasting_directories->add(out_lsu.descriptor);
    }
    return out_lsu.descriptor ? 0 : cannot_open(out_lsu.path, text);
}

}  // namespace

int32_t open_lsu(std::string_view text, WhenMissing when_missing, LsuDirectory &out_lsu) {
    if (const int32_t status = check_components(text); status != 0)
        return status;
    if (text.front() == '/') {
        out_lsu.path = text;
        out_lsu.descriptor = open_directory(out_lsu.path);
        return out_lsu.descriptor ? 0 : cannot_open(out_lsu.path, text);
    }
    return open_below_root(std::string(text), when_missing, out_lsu);
}

int32_t open_root_of_lsus(LsuDirectory &out_root) {
    out_root.path = path_of_root();
    return open_root(out_root.path, WhenMissing::fail, out_root.descriptor);
}

LsuLock::LsuLock(const LsuDirectory &locked_lsu) : lsu(locked_lsu) {
    lock_directory();
    if (error == 0)
        lock_file_in_it();
}

void LsuLock::lock_directory() {
    error = wait_for_lock(lsu.descriptor.get());
    directory_locked = error == 0;
    if (error == EBADF || error == EINVAL || error == EOPNOTSUPP || error == ENOSYS)
        error = 0;  // a file system without locks on directories
}

void LsuLock::lock_file_in_it() {
    struct stat state;
    do {
        bool cannot_be = false;
        file = open_existing_to_lock(lsu.descriptor.get(), lock_file);
        if (!file && errno == ENOENT) {
            if (directory_locked && !is_shared(lsu.descriptor.get()))
                return;
            file = make_lock_file(lsu.descriptor.get(), cannot_be);
        }
        if (!file) {
            error = cannot_be && directory_locked ? 0 : errno;
            return;
        }
        error = wait_for_lock(file.get());
        if (error == 0 && fstat(file.get(), &state) != 0)
            error = errno;
    } while (error == 0 && state.st_nlink == 0);  // somebody has removed it: the others lock another one
}

LsuLock::~LsuLock() {
    // Explicitly: a process that was forked meanwhile has the descriptors too.
    if (file)
        flock(file.get(), LOCK_UN);
    if (directory_locked)
        flock(lsu.descriptor.get(), LOCK_UN);
}

int32_t LsuLock::status() const {
    return error == 0 ? 0 : fail_system(error, "cannot lock the directory %s", QuotedText(lsu.path).c_str());
}

int32_t flush_directory(const LsuDirectory &lsu) {
    return patiently([&lsu] {
        if (fsync(lsu.descriptor.get()) != 0)
            return fail_system(errno, "cannot flush the directory %s", QuotedText(lsu.path).c_str());
        return 0;
    });
}

}  // namespace stsimage
