// OrvSimStorageServer::mountLSU: a volume made to look mounted, or a mount that fails on purpose.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "sim/make_directory.h"
#include "sim/orv_sim_storage_server.h"
#include "sim/session_log.h"
#include "stspi/sts_status.h"

namespace {

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

// Makes the directories above path, from the top. Returns 0 or errno. The path is cut at each slash and put together
// again, so that no memory is needed once something has been made.
int make_parents(std::string &path) {
    int error = 0;
    for (size_t slash = path.find('/', 1); slash != std::string::npos && error == 0;
         slash = path.find('/', slash + 1)) {
        path[slash] = '\0';
        error = make_directory(path.c_str());
        path[slash] = '/';
    }
    return error;
}

// Returns the errno of a call, with a message about it sent.
int failed(const char *call, const sts_session_def_v7_t *session) {
    const int error = errno;
    char message[64];
    std::snprintf(message, sizeof message, "%s failed: errno %d\n", call, error);
    log_unmasked(session, message);
    return error;
}

// Turns path into a link to target, in place of any file or link that stands there. Returns 0, or errno with a message
// sent. A directory at path is not replaced: unlink refuses it.
int replace_by_link(const char *target, const char *path, const sts_session_def_v7_t *session) {
    if (symlink(target, path) == 0)
        return 0;
    if (errno == EEXIST) {
        if (unlink(path) != 0)
            return failed("unlink", session);
        if (symlink(target, path) == 0)
            return 0;
    }
    return failed("symlink", session);
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
    diskgroup_t *group = find_group(group_name);
    if (group == nullptr) {
        log_unmasked(m_sd, ("Unknown Diskgroup: " + text_or_empty(group_name) + "\n").c_str());
        return -1;
    }
    // All texts are made before anything else, so that memory that runs out leaves no half of a mount.
    const bool has_storage_dir = *storage_dir_text(*group) != '\0';
    const std::string storage_dir = has_storage_dir ? storage_dir_text(*group) : "/tmp/" + text_or_empty(group_name);
    const std::string volume_dir = storage_dir + "/" + text_or_empty(volume);
    std::string link = text_or_empty(mount_point);
    if (!link.empty() && link.back() == '/')
        link.pop_back();
    // The default stays with the group for the life of the array, also when this mount fails.
    if (!has_storage_dir)
        set_default_storage_dir(*group, storage_dir);

    if (const int error = make_directory(storage_dir.c_str()))
        return error;
    if (const int error = make_directory(volume_dir.c_str()))
        return error;
    struct stat present;
    if (stat(link.c_str(), &present) != 0) {
        if (const int error = make_parents(link)) {
            log_unmasked(m_sd, "problem creating mount path directory");
            return error;
        }
    }
    return replace_by_link(volume_dir.c_str(), link.c_str(), m_sd);
}

diskgroup_t *OrvSimStorageServer::find_group(const char *name) {
    return const_cast<diskgroup_t *>(getPoolLSUInfo(name));  // an element of our own table
}
