#include "conformance/watch/creations.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <map>
#include <mutex>

#include "conformance/watch/call_note.h"
#include "conformance/watch/expect.h"

namespace conformance {

namespace fs = std::filesystem;

namespace {

struct Creation {
    std::string path;
    std::string call;
};

std::mutex creations_mutex;
std::string own_directory;  // without links; "" while nobody watches
int journal_file = -1;

std::vector<Creation> &creations() {
    static std::vector<Creation> list;
    return list;
}

// Absolute, with no link but a last component that may be one.
std::string resolved(int descriptor, const std::string &path) {
    std::error_code error;
    fs::path full = path;
    if (full.is_relative())
        full =
            (descriptor == working_directory ? fs::current_path(error)
                                             : fs::read_symlink(fmt::format("/proc/self/fd/{}", descriptor), error)) /
            full;
    if (!full.has_filename())
        full = full.parent_path();
    return (fs::weakly_canonical(full.parent_path(), error) / full.filename()).string();
}

bool is_below(const std::string &path, const std::string &directory) {
    return path.size() > directory.size() && path.compare(0, directory.size(), directory) == 0 &&
           path[directory.size()] == '/';
}

bool is_there(const std::string &path) {
    struct stat status;
    return lstat(path.c_str(), &status) == 0;
}

}  // namespace

void watch_creations(const std::string &directory, int journal) {
    std::error_code error;
    const std::lock_guard lock(creations_mutex);
    own_directory = fs::canonical(directory, error).string();
    journal_file = journal;
}

bool would_create(int descriptor, const char *path) {
    if (path == nullptr || own_directory.empty() || !plugin_is_running())
        return false;
    const int saved = errno;
    const bool is_new = !is_there(resolved(descriptor, path));
    errno = saved;
    return is_new;
}

void note_creation(int descriptor, const char *path) {
    if (path == nullptr || own_directory.empty() || !plugin_is_running())
        return;
    const int saved = errno;
    const std::string full = resolved(descriptor, path);
    const std::string call = running_call();
    const std::lock_guard lock(creations_mutex);
    auto &list = creations();
    const auto known = std::find_if(list.begin(), list.end(), [&](const Creation &one) { return one.path == full; });
    if (known != list.end()) {
        known->call = call;
    } else {
        list.push_back({full, call});
        if (journal_file >= 0 && !is_below(full, own_directory))
            dprintf(journal_file, "%s\n", full.c_str());
    }
    errno = saved;
}

std::string creator_of(const std::string &path) {
    const std::string full = resolved(working_directory, path);
    const std::lock_guard lock(creations_mutex);
    for (const Creation &one : creations())
        if (one.path == full)
            return one.call;
    return {};
}

void expect_nothing_outside() {
    std::vector<Creation> outside;
    {
        const std::lock_guard lock(creations_mutex);
        for (const Creation &one : creations())
            if (!is_below(one.path, own_directory) && is_there(one.path))
                outside.push_back(one);
    }
    for (const Creation &one : outside)
        add_finding_of(one.call, "outside the test's directory", "nothing made", one.path);
    for (auto one = outside.rbegin(); one != outside.rend(); ++one)
        std::remove(one->path.c_str());
}

}  // namespace conformance
