#include "conformance/explore/mirror.h"

#include <dirent.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>

#include "conformance/model/text_rules.h"

namespace conformance {

namespace fs = std::filesystem;

namespace {

constexpr char below_tmp[] = "/tmp/";

int error_of(int result) { return result == 0 ? 0 : errno; }

void make_file(const std::string &path) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    if (file >= 0)
        close(file);
}

void each_entry(const std::string &directory, const std::function<void(const std::string &)> &visit) {
    const std::unique_ptr<DIR, int (*)(DIR *)> open_directory(opendir(directory.c_str()), closedir);
    if (!open_directory)
        return;
    while (const dirent *entry = readdir(open_directory.get()))
        if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
            visit(entry->d_name);
}

// All but a regular file of that name; tells whether there is one.
bool remove_all_in(const std::string &directory, const char *keep) {
    bool is_kept = false;
    each_entry(directory, [&](const std::string &name) {
        struct stat status;
        if (name == keep && lstat((directory + "/" + name).c_str(), &status) == 0 && S_ISREG(status.st_mode)) {
            is_kept = true;
            return;
        }
        std::error_code error;
        fs::remove_all(directory + "/" + name, error);
    });
    return is_kept;
}

// Path below the directory -> kind, permissions, target.
using Tree = std::map<std::string, std::string>;

void add_tree(const std::string &root, const std::string &below, Tree &tree,
              const std::function<std::string(const std::string &)> &target_text) {
    const std::string path = root + below;
    struct stat status;
    if (lstat(path.c_str(), &status) != 0)
        return;
    if (S_ISLNK(status.st_mode)) {
        std::error_code error;
        tree[below] = "link to " + target_text(fs::read_symlink(path, error).string());
        return;
    }
    tree[below] = fmt::format("{} {:04o}", S_ISDIR(status.st_mode) ? "directory" : "file", status.st_mode & 07777);
    if (S_ISDIR(status.st_mode))
        each_entry(path, [&](const std::string &name) { add_tree(root, below + "/" + name, tree, target_text); });
}

}  // namespace

Mirror::Mirror(std::string base, const std::string &own_name, std::string array_name)
    : base_(std::move(base)),
      places_{base_ + "/p", "o" + own_name},
      mirror_work_(base_ + "/m"),
      mirror_own_("m" + own_name),
      array_name_(std::move(array_name)) {
    for (const char *name : {"", "/p", "/m", "/etc"})
        mkdir((base_ + name).c_str(), 0755);
    clear();
}

void Mirror::clear() {
    for (const std::string &work : {places_.work, mirror_work_})
        if (!remove_all_in(work, "f"))
            make_file(work + "/f");
    remove_all_in(base_ + "/etc", "");
    for (const std::string &own : {places_.own, mirror_own_})
        for (const char *end : {"", "1", "2", "3"}) {
            const std::string path = below_tmp + own + end;
            struct stat status;
            std::error_code error;
            if (lstat(path.c_str(), &status) == 0)
                fs::remove_all(path, error);
        }
}

std::string Mirror::mirrored(const std::string &path) const {
    if (path.empty())
        return path;
    if (path.front() != '/')
        return mirror_work_ + "/" + path;
    if (path == places_.work || model::starts_with(path, places_.work + "/"))
        return mirror_work_ + path.substr(places_.work.size());
    if (model::starts_with(path, below_tmp + places_.own))
        return below_tmp + mirror_own_ + path.substr(std::strlen(below_tmp) + places_.own.size());
    return path;
}

std::string Mirror::difference() const {
    std::vector<std::pair<std::string, std::string>> roots = {{places_.work, mirror_work_}};
    for (const char *end : {"", "1", "2", "3"})
        roots.emplace_back(below_tmp + places_.own + end, below_tmp + mirror_own_ + end);
    for (const auto &root : roots) {
        const std::string &theirs = root.first;
        const std::string &ours = root.second;
        Tree got;
        Tree expected;
        add_tree(theirs, "", got, [&](const std::string &target) { return mirrored(target); });
        add_tree(ours, "", expected, [](const std::string &target) { return target; });
        const auto differing = [&](const Tree &one, const Tree &other, const char *missing) {
            for (const auto &[path, what] : one)
                if (const auto found = other.find(path); found == other.end())
                    return fmt::format("{}{}: {} ({})", collapsed(theirs, places_), path, missing, what);
                else if (found->second != what)
                    return fmt::format("{}{}: expected {}, got {}", collapsed(theirs, places_), path, expected[path],
                                       got[path]);
            return std::string();
        };
        if (auto text = differing(expected, got, "not made"); !text.empty())
            return text;
        if (auto text = differing(got, expected, "made, and should not be there"); !text.empty())
            return text;
    }
    return {};
}

std::string Mirror::made() const {
    std::string text;
    std::vector<std::string> roots = {places_.work};
    for (const char *end : {"", "1", "2", "3"})
        roots.push_back(below_tmp + places_.own + end);
    for (const std::string &root : roots) {
        Tree tree;
        add_tree(root, "", tree, [](const std::string &target) { return target; });
        for (const auto &[path, what] : tree)
            text += fmt::format("\n      {}{}: {}", root, path, what);
    }
    return text;
}

int Mirror::make_directory(const std::string &path) { return error_of(mkdir(mirrored(path).c_str(), 0700)); }

int Mirror::make_link(const std::string &target, const std::string &path) {
    return error_of(symlink(mirrored(target).c_str(), mirrored(path).c_str()));
}

int Mirror::remove_link(const std::string &path) { return error_of(unlink(mirrored(path).c_str())); }

int Mirror::look_at(const std::string &path) {
    struct stat status;
    return error_of(stat(mirrored(path).c_str(), &status));
}

int Mirror::ask_sizes(const std::string &path) {
    struct statvfs told;
    return error_of(statvfs(mirrored(path).c_str(), &told));
}

bool Mirror::may_make(const std::string &path) {
    return !model::starts_with(path, below_tmp) || mirrored(path) != path;
}

}  // namespace conformance
