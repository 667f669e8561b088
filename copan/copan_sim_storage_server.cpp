#include "copan/copan_sim_storage_server.h"

#include <memory>
#include <utility>

#include "base/kept_alive.h"
#include "copan/copan_config_reader.h"
#include "copan/copan_lsu.h"
#include "sim/config_file.h"
#include "sim/make_directory.h"
#include "sim/session_log.h"
#include "sim/standard_output.h"
#include "sim/sts_exception.h"

namespace {

constexpr size_t path_size = 1024;
std::vector<std::unique_ptr<CopanLSU>> new_copan_lsus(const std::vector<std::string> &names) {
    std::vector<std::unique_ptr<CopanLSU>> lsus;
    lsus.reserve(names.size());
    for (const std::string &name : names)
        lsus.push_back(std::make_unique<CopanLSU>(name));
    return lsus;
}

}  // namespace

const sts_session_def_v7_t *CopanSimStorageServer::m_sd = nullptr;

CopanSimStorageServer::CopanSimStorageServer(std::string storage_server_name) {
    if (storage_server_name.empty())
        return;
    const size_t colon = storage_server_name.find(':');
    if (colon == std::string::npos) {
        print_line("Error in server_name");
        return;
    }
    m_config_name = storage_server_name.substr(0, colon);
    m_server_name = storage_server_name.substr(colon + 1);
    const File file = open_configuration(m_config_name, "r");
    if (file == nullptr)
        return;
    std::vector<std::string> volumes;
    const CopanReading reading = read_copan_configuration(file.get(), m_server_name, volumes, m_storage_dir);
    if (reading == CopanReading::not_found)
        throw STSException("StorageServer not found");
    std::vector<std::unique_ptr<CopanLSU>> lsus = new_copan_lsus(volumes);
    m_lsus.reserve(lsus.size());
    for (std::unique_ptr<CopanLSU> &lsu : lsus)
        m_lsus.push_back(base::kept_alive(std::move(lsu)));  // see CopanLSU
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
    // Before any directory is made, so that memory that runs out changes nothing.
    std::unique_ptr<char[]> path(new char[path_size]);
    if (make_directory(m_storage_dir.c_str()) != 0) {
        log_unmasked(m_sd, "m_storage_dir directory creation failed: ");
        log_unmasked(m_sd, m_storage_dir.c_str());
        return nullptr;
    }
    const size_t length = m_storage_dir.size() + 1 + name.size();
    if (length >= path_size)
        return nullptr;
    m_storage_dir.copy(path.get(), m_storage_dir.size());
    path[m_storage_dir.size()] = '/';
    name.copy(path.get() + m_storage_dir.size() + 1, name.size());
    path[length] = '\0';
    if (make_directory(path.get()) != 0) {
        log_unmasked(m_sd, "vol directory creation failed: ");
        log_unmasked(m_sd, m_storage_dir.c_str());  // not the volume's: readers of the log look for this one
        return nullptr;
    }
    return path.release();
}

void CopanSimStorageServer::set_session(const sts_session_def_v7_t *session) { m_sd = session; }
