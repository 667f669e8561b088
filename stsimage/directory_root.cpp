#include "stsimage/directory_root.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <utility>

#include "stsimage/directory_stream.h"
#include "stsimage/image_name.h"
#include "stsimage/last_error.h"
#include "stsimage/lsu_directory.h"
#include "stsimage/lsu_text.h"
#include "stsimage/quoted_text.h"
#include "stsimage/unfinished_files.h"

namespace stsimage {

namespace {

bool is_directory(int parent, const dirent &entry) {
    if (entry.d_type != DT_UNKNOWN)
        return entry.d_type == DT_DIR;
    struct stat state;
    return fstatat(parent, entry.d_name, &state, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(state.st_mode);
}

// Adds what lies below a directory. One that cannot be opened is an LSU all the same: looking through it tells why.
int32_t add_directories(const FileDescriptor &directory, const std::string &path, const std::string &text,
                        std::vector<std::string> &lsus, bool &out_has_images) {
    DirectoryStream stream(directory);
    std::vector<std::string> found;
    while (const dirent *const entry = stream.next()) {
        const std::string_view name = entry->d_name;
        std::string_view image;
        if (name == unfinished_directory || name_of_file(name, image))
            out_has_images = true;
        else if (is_directory(directory.get(), *entry))
            found.emplace_back(name);
    }
    if (stream.error() != 0)
        return fail_system(stream.error(), "cannot read the directory %s", QuotedText(path).c_str());
    for (const std::string &name : found) {
        const std::string below = text.empty() ? name : std::string(text).append("/").append(name);
        if (below.size() > longest_lsu_text || has_control_character(name))
            continue;  // no text leads there
        const FileDescriptor child(
            openat(directory.get(), name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        if (!child && errno == ENOENT)
            continue;
        lsus.push_back(below);
        bool has_images = false;
        if (child)
            if (const int32_t status =
                    add_directories(child, std::string(path).append("/").append(name), below, lsus, has_images);
                status != 0)
                return status;
    }
    return 0;
}

}  // namespace

int32_t DirectoryRoot::list_lsus(std::vector<std::string> &out_lsus) {
    out_lsus.clear();
    LsuDirectory root;
    if (const int32_t status = open_root_of_lsus(root); status != 0)
        return status;
    bool has_images = false;
    if (const int32_t status = add_directories(root.descriptor, root.path, "", out_lsus, has_images); status != 0)
        return status;
    if (has_images)
        out_lsus.push_back(root.path);
    std::sort(out_lsus.begin(), out_lsus.end());
    return 0;
}

int32_t DirectoryRoot::find_leftovers(const std::string &lsu, Disposal disposal, const LeftoverListener &listener) {
    LsuDirectory directory;
    if (const int32_t status = open_lsu(lsu, WhenMissing::fail, directory); status != 0)
        return status;
    std::vector<Leftover> found;
    if (const int error = find_unfinished(directory, disposal, found); error != 0)
        return fail_system(error, "cannot look through the unfinished images in %s",
                           QuotedText(directory.path).c_str());
    for (Leftover &leftover : found) {
        leftover.lsu = lsu;
        if (!listener(leftover))
            break;
    }
    return 0;
}

}  // namespace stsimage
