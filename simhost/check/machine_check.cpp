#include "simhost/check/machine_check.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace {

// By the effective user, as the system will ask.
bool may_write(const std::string &directory) {
    return faccessat(AT_FDCWD, directory.c_str(), W_OK | X_OK, AT_EACCESS) == 0;
}

std::string parent_of(std::string path) {
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    const size_t slash = path.rfind('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

struct Names {
    const std::vector<ListedName> &volumes;
    const char *what;
};

// Tells once for a storage directory what stands in the way. False when it is not there, or cannot be.
bool check_directory(const std::string &path, const Place &place, Findings &findings) {
    struct stat state {};
    if (stat(path.c_str(), &state) == 0) {
        if (!S_ISDIR(state.st_mode))
            findings.error(Rule::name_taken, place,
                           fmt::format("on this machine {} is no directory", in_apostrophes(path)));
        else if (!may_write(path))
            findings.error(Rule::no_permission, place,
                           fmt::format("on this machine nothing can be made in {}: {}", in_apostrophes(path),
                                       std::strerror(errno)));
        else
            return true;
        return false;
    }
    const int error = errno;
    const std::string parent = parent_of(path);
    if (error != ENOENT)
        findings.error(
            error == ENOTDIR ? Rule::name_taken : Rule::no_permission, place,
            fmt::format("on this machine {} cannot be reached: {}", in_apostrophes(path), std::strerror(error)));
    else if (lstat(path.c_str(), &state) == 0)
        findings.error(Rule::name_taken, place,
                       fmt::format("on this machine {} is a link that leads nowhere", in_apostrophes(path)));
    else if (stat(parent.c_str(), &state) != 0)
        findings.error(
            Rule::missing_parent, place,
            fmt::format("on this machine there is no {}, in which the directory is to be made", in_apostrophes(parent)),
            fmt::format("make it: only the last directory of a path is made by the plug-in"));
    else if (!S_ISDIR(state.st_mode))
        findings.error(Rule::name_taken, place,
                       fmt::format("on this machine {} is no directory", in_apostrophes(parent)));
    else if (!may_write(parent))
        findings.error(Rule::no_permission, place,
                       fmt::format("on this machine no directory can be made in {}: {}", in_apostrophes(parent),
                                   std::strerror(errno)));
    return false;
}

void check_volumes(const std::string &path, const Names &names, Findings &findings) {
    for (const ListedName &volume : names.volumes) {
        const std::string directory = path + '/' + volume.name;
        struct stat state {};
        if (volume.name.empty() || lstat(directory.c_str(), &state) != 0)
            continue;
        if (stat(directory.c_str(), &state) != 0 || !S_ISDIR(state.st_mode))
            findings.error(Rule::name_taken, volume.place,
                           fmt::format("on this machine the directory of {} {}, {}, is something else", names.what,
                                       in_apostrophes(volume.name), in_apostrophes(directory)));
        else if (!may_write(directory))
            findings.error(Rule::no_permission, volume.place,
                           fmt::format("on this machine nothing can be made in {}: {}", in_apostrophes(directory),
                                       std::strerror(errno)));
    }
}

void check_section(const std::string &path, const SetKey *key, const ListedName &name, const Names &names,
                   Findings &findings) {
    if (!path.empty() && check_directory(path, key != nullptr ? key->place : name.place, findings))
        check_volumes(path, names, findings);
}

}  // namespace

void check_machine(const Outline &outline, Findings &findings) {
    for (const PoolOutline &pool : outline.pools)
        check_section(pool.storage_dir.empty() ? "/tmp/" + pool.name.name : pool.storage_dir,
                      pool.keys.find("STORAGE_DIR"), pool.name, {pool.disks, "disk"}, findings);
    for (const ServerOutline &server : outline.servers)
        check_section(server.storage_dir.value_or(""), server.keys.find("STORAGE_DIR"), server.name,
                      {server.volumes, "volume"}, findings);
}
