#include "copan/copan_sim_storage_server.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <iostream>

#include "copan/copan_config_reader.h"
#include "copan/copan_lsu.h"
#include "sim/config_file.h"
#include "sim/session_log.h"
#include "sim/sts_exception.h"

namespace {

constexpr size_t path_size = 1024;
constexpr mode_t directory_mode = 0700;

bool make_directory(const std::string &path) { return mkdir(path.c_str(), directory_mode) == 0 || errno == EEXIST; }

// Never deleted, see CopanLSU.
LSU *new_copan_lsu(const std::string &name) { return new CopanLSU(name); }

}  // namespace

const sts_session_def_v7_t *CopanSimStorageServer::m_sd = nullptr;

CopanSimStorageServer::CopanSimStorageServer(std::string storage_server_name) {
    if (storage_server_name.empty())
        return;
    const size_t colon = storage_server_name.find(':');
    if (colon == std::string::npos) {
        std::cout << "Error in server_name" << std::endl;
        return;
    }
    m_config_name = storage_server_name.substr(0, colon);
    m_server_name = storage_server_name.substr(colon + 1);
    const File file = open_configuration(m_config_name, "r");
    if (file == nullptr)
        return;
    std::vector<std::string> volumes;
    const CopanReading reading = read_copan_configuration(file.get(), m_server_name, volumes, m_storage_dir);
    for (const std::string &volume : volumes)
        m_lsus.push_back(new_copan_lsu(volume));
    if (reading == CopanReading::not_found)
        throw STSException("StorageServer not found");
}

std::string *CopanSimStorageServer::getInfo() { return &m_server_name; }

std::vector<LSU *> *CopanSimStorageServer::getLSUList() { return &m_lsus; }

LSU *CopanSimStorageServer::getLSU(std::string name) {
    for (LSU *lsu : m_lsus) {
        const std::string *lsu_name = lsu != nullptr ? lsu->getInfo() : nullptr;
        if (lsu_name != nullptr && *lsu_name == name)
            return lsu;
    }
    return nullptr;
}

char *CopanSimStorageServer::generate_path(std::string name) {
    const std::string path = m_storage_dir + "/" + name;
    if (!make_directory(m_storage_dir)) {
        log_unmasked(m_sd, "m_storage_dir directory creation failed: ");
        log_unmasked(m_sd, m_storage_dir.c_str());
        return nullptr;
    }
    if (path.size() >= path_size)
        return nullptr;
    if (!make_directory(path)) {
        log_unmasked(m_sd, "vol directory creation failed: ");
        log_unmasked(m_sd, m_storage_dir.c_str());  // not the volume's: readers of the log look for this one
        return nullptr;
    }
    auto *result = new char[path_size];
    std::memcpy(result, path.c_str(), path.size() + 1);
    return result;
}

void CopanSimStorageServer::set_session(const sts_session_def_v7_t *session) { m_sd = session; }
