#include "stsimage/lsu_directory.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "stsimage/image_name.h"
#include "stsimage/last_error.h"
#include "stsimage/quoted_text.h"
#include "stsimage/unfinished_files.h"
#include "stspi/stsimg.h"

namespace stsimage {

namespace {

constexpr size_t longest_text = STS_LSU_NAME_SIZE - 1;
constexpr char default_root[] = "/var/lib/stsimage";
constexpr int directory_flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
constexpr mode_t directory_mode = 0700;

int32_t refuse(std::string_view text, const char *why) {
    return fail(STSIMG_E_INVALID_LSU, "the LSU text %s %s", QuotedText(text).c_str(), why);
}

// What no component may be. An absolute text is the caller's own choice of a directory and may lead through "..".
int32_t check_components(std::string_view text) {
    const bool is_absolute = text.front() == '/';
    for (size_t begin = 0; begin <= text.size();) {
        const size_t end = std::min(text.find('/', begin), text.size());
        const std::string_view component = text.substr(begin, end - begin);
        if (!is_absolute && (component == "." || component == ".."))
            return refuse(text, "has the component \".\" or \"..\"");
        if (component == unfinished_directory)
            return refuse(text, "names the library's own directory of unfinished images");
        begin = end + 1;
    }
    return 0;
}

int32_t check_text(std::string_view text) {
    if (text.empty())
        return refuse(text, "is empty");
    if (text.size() > longest_text)
        return refuse(text, "is longer than 1023 bytes");
    if (has_control_character(text))
        return refuse(text, "has a control character");
    return check_components(text);
}

// Opens a directory below another one without following a link out of it.
FileDescriptor open_below(const FileDescriptor &base, const std::string &path) {
    open_how how{};
    how.flags = directory_flags;
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_MAGICLINKS;
    long result;
    do {
        result = syscall(SYS_openat2, base.get(), path.c_str(), &how, sizeof how);
    } while (result < 0 && (errno == EINTR || errno == EAGAIN));  // EAGAIN: something was renamed on the way
    return FileDescriptor(static_cast<int>(result));
}

// Says why a directory did not open, from errno.
int32_t cannot_open(const std::string &path, std::string_view text) {
    const int error = errno;
    switch (error) {
        case ENOENT:
            return fail(STS_E_NOT_FOUND, "the directory %s of the LSU text %s does not exist", QuotedText(path).c_str(),
                        QuotedText(text).c_str());
        case ENOTDIR:
            return refuse(text, "leads to something that is not a directory");
        case EXDEV:
        case ELOOP:
            return refuse(text, "leads out of the root directory, or in circles, through a link");
        case ENAMETOOLONG:
            return refuse(text, "has a component that is too long");
        default:
            return fail_system(error, "cannot open the directory %s of the LSU text %s", QuotedText(path).c_str(),
                               QuotedText(text).c_str());
    }
}

int32_t make_directory(const FileDescriptor &parent, const std::string &name, const std::string &path) {
    const bool made = mkdirat(parent.get(), name.c_str(), directory_mode) == 0;
    if (!made && errno != EEXIST)
        return fail_system(errno, "cannot make the directory %s", QuotedText(path).c_str());
    // Also when it was there: whoever made it just now may not have come so far.
    if (fsync(parent.get()) == 0)
        return 0;
    const int error = errno;
    if (made)
        unlinkat(parent.get(), name.c_str(), AT_REMOVEDIR);  // or the next one would take it for safely made
    return fail_system(error, "cannot flush the parent of the new directory %s", QuotedText(path).c_str());
}

// Makes the root directory itself; its parent must be there.
int32_t make_root(const std::string &root) {
    const size_t end = root.find_last_not_of('/');
    const size_t slash = root.rfind('/', end);
    if (end == root.npos || slash == root.npos)
        return 0;
    const std::string parent_path = root.substr(0, slash + 1);
    const FileDescriptor parent(open(parent_path.c_str(), directory_flags));
    if (!parent && errno == ENOENT)
        return fail(STS_E_NOT_FOUND, "%s, the parent of the root directory of images, does not exist",
                    QuotedText(parent_path).c_str());
    if (!parent)
        return fail_system(errno, "cannot open %s, the parent of the root directory of images",
                           QuotedText(parent_path).c_str());
    return make_directory(parent, root.substr(slash + 1, end - slash), root);
}

int32_t open_root(const std::string &root, WhenMissing when_missing, FileDescriptor &out_root) {
    if (root.empty() || root.front() != '/')
        return fail(STSIMG_E_INVALID_LSU, "STSIMAGE_ROOT is %s, which is not an absolute path",
                    QuotedText(root).c_str());
    out_root = FileDescriptor(open(root.c_str(), directory_flags));
    if (!out_root && errno == ENOENT && when_missing == WhenMissing::make) {
        if (const int32_t status = make_root(root); status != 0)
            return status;
        out_root = FileDescriptor(open(root.c_str(), directory_flags));
    }
    if (!out_root && errno == ENOENT)
        return fail(STS_E_NOT_FOUND, "the root directory of images %s does not exist", QuotedText(root).c_str());
    if (!out_root)
        return fail_system(errno, "cannot open the root directory of images %s", QuotedText(root).c_str());
    return 0;
}

// Makes the components of a text below the root that are missing.
int32_t make_below(const FileDescriptor &root, const std::string &root_path, const std::string &text) {
    for (size_t begin = 0; begin < text.size();) {
        const size_t end = std::min(text.find('/', begin), text.size());
        if (end > begin) {
            const std::string parent_path = begin == 0 ? "." : text.substr(0, begin);
            const FileDescriptor parent = open_below(root, parent_path);
            if (!parent)
                return cannot_open(std::string(root_path).append("/").append(parent_path), text);
            const std::string name = text.substr(begin, end - begin);
            if (const int32_t status = make_directory(parent, name, root_path + '/' + text.substr(0, end)); status != 0)
                return status;
        }
        begin = end + 1;
    }
    return 0;
}

int32_t open_below_root(const std::string &text, WhenMissing when_missing, LsuDirectory &out_lsu) {
    const char *setting = std::getenv("STSIMAGE_ROOT");
    const std::string root_path = setting != nullptr ? setting : default_root;
    out_lsu.path = root_path + '/' + text;
    FileDescriptor root;
    if (const int32_t status = open_root(root_path, when_missing, root); status != 0)
        return status;
    out_lsu.descriptor = open_below(root, text);
    if (!out_lsu.descriptor && errno == ENOENT && when_missing == WhenMissing::make) {
        if (const int32_t status = make_below(root, root_path, text); status != 0)
            return status;
        out_lsu.descriptor = open_below(root, text);
    }
    return out_lsu.descriptor ? 0 : cannot_open(out_lsu.path, text);
}

}  // namespace

int32_t open_lsu(const char *text, WhenMissing when_missing, LsuDirectory &out_lsu) {
    const std::string_view view(text, strnlen(text, longest_text + 1));
    if (const int32_t status = check_text(view); status != 0)
        return status;
    if (view.front() == '/') {
        out_lsu.path = view;
        out_lsu.descriptor = FileDescriptor(open(text, directory_flags));
        if (!out_lsu.descriptor)
            return cannot_open(out_lsu.path, view);
    } else if (const int32_t status = open_below_root(std::string(view), when_missing, out_lsu); status != 0) {
        return status;
    }
    clear_abandoned(out_lsu);
    return 0;
}

LsuLock::LsuLock(const LsuDirectory &lsu) : directory(lsu.descriptor.get()) {
    while (flock(directory, LOCK_EX) != 0)
        if (errno != EINTR) {
            result = fail_system(errno, "cannot lock the directory %s", QuotedText(lsu.path).c_str());
            return;
        }
}

LsuLock::~LsuLock() {
    if (result == 0)
        flock(directory, LOCK_UN);
}

int32_t flush_directory(const LsuDirectory &lsu) {
    if (fsync(lsu.descriptor.get()) != 0)
        return fail_system(errno, "cannot flush the directory %s", QuotedText(lsu.path).c_str());
    return 0;
}

}  // namespace stsimage
