#include "tests/support/servers.h"

#include <algorithm>

OpenedServer::OpenedServer(const sts_session_def_v7_t *session, const char *server_name)
    : m_status(stspi_open_server(session, server_name, nullptr, nullptr, &m_handle)) {}

OpenedServer::OpenedServer(const sts_session_def_v7_t *session, const char *server_name,
                           const std::vector<std::string> &hosts)
    : m_status(stspi_create_server(session, server_name, nullptr, nullptr, host_records(hosts).data(),
                                   static_cast<int32_t>(hosts.size()), &m_handle)) {}

OpenedServer::~OpenedServer() {
    if (m_handle != nullptr)
        stspi_close_server(m_handle);
}

stsp_lsu_v7_t OpenedServer::lsu(const std::string &name) const {
    stsp_lsu_v7_t record{};
    record.server = m_handle;
    std::copy_n(name.begin(), std::min(name.size(), sizeof record.lsu_name), record.lsu_name);
    return record;
}

std::vector<sts_host_t> host_records(const std::vector<std::string> &names) {
    std::vector<sts_host_t> records(names.size());
    for (size_t i = 0; i < names.size(); ++i)
        std::copy_n(names[i].begin(), std::min(names[i].size(), sizeof records[i].name), records[i].name);
    return records;
}
