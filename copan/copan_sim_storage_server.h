// The simulated Copan array: a flat list of LSUs over one storage directory.
#pragma once

#include <string>
#include <vector>

#include "sim/storage_server.h"
#include "stspi/sts_types.h"

// One simulated Copan array, made from its sections of a configuration file and read-only afterwards.
class CopanSimStorageServer : public StorageServer {
public:
    // Reads "/etc/quillmere/PREFIX.sim" for the storage-server name PREFIX:NAME. Without a name, a ':' or a readable file
    // the array is empty. Throws STSException "StorageServer not found" when the file was read to its end and no section
    // of it is this server's. Threads may do so at once.
    explicit CopanSimStorageServer(std::string storage_server_name);

    // The server's name, owned by the server. (A disk array gives a new string instead.)
    std::string *getInfo() override;

    // The LSUs in the order of the file, duplicates included. The vector is the server's; the LSUs outlive it.
    std::vector<LSU *> *getLSUList() override;

    // The first LSU of that name, or null.
    LSU *getLSU(std::string name) override;

    // The directory of a volume, made with the storage directory when missing, whether the volume is configured or not.
    // A new array of 1024 characters that the caller releases with delete[]; null, with two log messages, when a
    // directory cannot be made, and null when the path does not fit the array. Throws std::bad_alloc before anything is
    // made.
    char *generate_path(std::string name) override;

    // Sets the session of all Copan arrays of the process; it must outlive them.
    static void set_session(const sts_session_def_v7_t *session);

private:
    std::string m_server_name;
    std::string m_config_name;
    std::vector<LSU *> m_lsus;
    std::string m_storage_dir;

    // Deliberately one plain pointer for the whole process, apart from the disk arrays': the last set_session wins.
    static const sts_session_def_v7_t *m_sd;
};
