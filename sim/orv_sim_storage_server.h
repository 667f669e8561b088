// The simulated disk array.
#pragma once

#include <cstdint>
#include <string>

#include "sim/disk_array_model.h"
#include "sim/storage_server.h"
#include "stspi/sts_types.h"

// What the plug-in reports of one disk of a pool.
struct DynamicLSUInfo {
    Name name;                // the disk
    Name id;                  // its unique device identifier
    uint64_t capacity = 0;    // bytes
    uint64_t fs_size = 0;     // bytes
    uint64_t free_space = 0;  // bytes
};

// One simulated disk array, made from its section-structured configuration file. Reading it is not thread-safe (see
// tokenize_to_map); afterwards the model changes only where mountLSU sets a default storage directory.
class OrvSimStorageServer : public StorageServer {
public:
    // Reads "/etc/quillmere/NAME.sim", NAME being server_name up to its first ':'. Never throws for bad input: without
    // a name, a ':' or a readable file the array is empty.
    explicit OrvSimStorageServer(const std::string &server_name);
    ~OrvSimStorageServer() override;
    OrvSimStorageServer(const OrvSimStorageServer &) = delete;
    OrvSimStorageServer &operator=(const OrvSimStorageServer &) = delete;

    // A new copy of the simulated host's name, which the caller deletes.
    std::string *getInfo() override;

    // Null: a disk array keeps no LSU objects.
    std::vector<LSU *> *getLSUList() override;
    LSU *getLSU(std::string name) override;
    char *generate_path(std::string name) override;

    // The simulated host's name, "NODE.quillmere.local"; valid while the array lives. Empty when no file was read.
    const char *get_server_name() const;

    // Sets the session of all disk arrays of the process; it must outlive them.
    static void set_session(const sts_session_def_v7_t *session);

    // Always null.
    void *getStorageElementList(const HostSet *hosts, int16_t count, bool any) const;

    // Writes the model back into its configuration file, in place. Sizes, MOUNT_PATH, UDID_TOKEN and the storage
    // directories of enclosures are not written. An array without a configuration name has no file: nothing is written.
    // Returns 0, or the errno of the call that failed: opening, with the file as it was, or a write or closing, with a
    // part of the text in the file.
    int sync() const;

    // For the configuration name "Kelvarpool" alone: replaces the disk groups by copies of the enclosures, whose disks
    // become volumes too.
    void adjustForPlugin();

    // The pools that hosts may use: those that list any of them (match_any), or all of them. An empty host list finds
    // none. Returns a new array that the caller deletes, with only the names filled, each once, last found first.
    DiskGroupTable *getPoolLSUList(const NameList *hosts, bool match_any) const;

    // All disk groups, in the order of the file, with their lists; owned by the array.
    const DiskGroupTable &disk_groups() const { return m_diskgroups; }

    // The first disk group of that name, owned by the array, or null, also for a null name.
    const diskgroup_t *getPoolLSUInfo(const char *name) const;

    // The first disk that has the given name or unique device identifier, as a new record that the caller deletes, or
    // null, also for a null name. The second argument is ignored.
    DynamicLSUInfo *getDynamicLSUInfo(const char *name, const char *pool) const;

    // The unique device identifier of a disk: "#UDID#TOKEN#NAME#", or the name itself without a UDID_TOKEN. Builds it
    // in a string that all threads share.
    Name getUDID(Name name) const;

    // The name as a string.
    Name getStorageElement(const char *name) const;

    // Mounts a volume of a disk group: makes the group's and the volume's directory and turns mount_point into a link
    // to the latter; or fails as MOUNT_BEHAVIOR says. Threads may mount at once; no lock is taken.
    //   mode, host   ignored
    // Returns 0, a mount outcome (STS_E_*), -1 for an unknown group, or the errno of the call that failed. Throws
    // std::bad_alloc before anything is made.
    int mountLSU(const char *group_name, const char *volume, int mode, const char *host, const char *mount_point);

private:
    void read_configuration();
    void release_model();
    bool set_server_name();
    diskgroup_t *find_group(const char *name);
    int mount_volume(const char *group_name, const char *volume, const char *mount_point);

    std::string m_config_name;
    DiskGroupTable m_diskgroups;
    EnclosureTable m_enclosures;
    char m_server_name[STS_SERVER_NAME_SIZE] = "";
    Name m_mount_path;      // with its final ';'
    Name m_mount_behavior;  // read through c_text
    Name m_udid_token;      // read through c_text

    // Deliberately one plain pointer for the whole process: the last set_session wins, without a lock.
    static const sts_session_def_v7_t *m_sd;
};
