// OrvSimStorageServer::mountLSU: a volume made to look mounted, or a mount that fails on purpose.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "sim/orv_sim_storage_server.h"
#include "sim/session_log.h"
#include "stspi/sts_status.h"

namespace {

constexpr mode_t directory_mode = 0700;

struct Outcome {
    const char *behavior;
    int status;
};

constexpr Outcome outcomes[] = {
    {"INVALID_FILESYS", STS_E_INVALID_FILESYS},
    {"ALREADY_MOUNTED", STS_E_ALREADY_MOUNTED},
    {"MOUNT_MODE_MISMATCH", STS_E_MOUNT_MODE_MISMATCH},
    {"MAX_READ_MOUNTS_EXCEEDED", STS_E_MAX_READ_MOUNTS_EXCEEDED},
    {"MAX_WRITE_MOUNTS_EXCEEDED", STS_E_MAX_WRITE_MOUNTS_EXCEEDED},
    {"MOUNT_POINT_USED", STS_E_MOUNT_POINT_USED},
};

int failed_outcome(const char *behavior) {
    for (const Outcome &outcome : outcomes)
        if (std::strcmp(behavior, outcome.behavior) == 0)
            return outcome.status;
    return STS_E_MOUNT_FAILED;
}

std::string text_or_empty(const char *text) { return text != nullptr ? text : ""; }

// Makes one directory. Returns 0, also when something of that name is there already, or errno.
int make_directory(const char *path) { return mkdir(path, directory_mode) == 0 || errno == EEXIST ? 0 : errno; }

// Makes the directories above path, from the top. Returns 0 or errno.
int make_parents(const std::string &path) {
    for (size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1))
        if (const int error = make_directory(path.substr(0, slash).c_str()))
            return error;
    return 0;
}

// Turns path into a link to target, in place of any file or link that stands there. Returns 0, or errno with a line
// about the failure in message. A directory at path is not replaced: unlink refuses it.
int replace_by_link(const char *target, const char *path, std::string &message) {
    if (symlink(target, path) == 0)
        return 0;
    if (errno == EEXIST) {
        if (unlink(path) != 0) {
            const int error = errno;
            message = "unlink failed: errno " + std::to_string(error) + "\n";
            return error;
        }
        if (symlink(target, path) == 0)
            return 0;
    }
    const int error = errno;
    message = "symlink failed: errno " + std::to_string(error) + "\n";
    return error;
}

}  // namespace

int OrvSimStorageServer::mountLSU(const char *group_name, const char *volume, int, const char *,
                                  const char *mount_point) {
    const char *behavior = c_text(m_mount_behavior);
    if (std::strcmp(behavior, "SUCCESS") != 0)
        return failed_outcome(behavior);
    return mount_volume(group_name, volume, mount_point);
}

int OrvSimStorageServer::mount_volume(const char *group_name, const char *volume, const char *mount_point) {
    diskgroup_t *group = getPoolLSUInfo(group_name);
    if (group == nullptr) {
        log_unmasked(m_sd, ("Unknown Diskgroup: " + text_or_empty(group_name) + "\n").c_str());
        return -1;
    }
    // The default stays with the group for the life of the array, also when this mount fails.
    if (is_empty_text(group->storage_dir)) {
        group->storage_dir = "/tmp/";
        group->storage_dir += group_name;
    }
    const std::string storage_dir = c_text(group->storage_dir);
    if (const int error = make_directory(storage_dir.c_str()))
        return error;
    const std::string volume_dir = storage_dir + "/" + text_or_empty(volume);
    if (const int error = make_directory(volume_dir.c_str()))
        return error;

    std::string link = text_or_empty(mount_point);
    if (!link.empty() && link.back() == '/')
        link.pop_back();
    struct stat present;
    if (stat(link.c_str(), &present) != 0) {
        if (const int error = make_parents(link)) {
            log_unmasked(m_sd, "problem creating mount path directory");
            return error;
        }
    }
    std::string message;
    const int error = replace_by_link(volume_dir.c_str(), link.c_str(), message);
    if (error != 0)
        log_unmasked(m_sd, message.c_str());
    return error;
}
