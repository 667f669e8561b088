// Servers opened through the entry points.
#pragma once

#include <string>
#include <vector>

#include "stspi/stspi.h"

// A server handle that is closed when it goes.
class OpenedServer {
public:
    // stspi_open_server.
    OpenedServer(const sts_session_def_v7_t *session, const char *server_name);
    // stspi_create_server.
    OpenedServer(const sts_session_def_v7_t *session, const char *server_name, const std::vector<std::string> &hosts);
    ~OpenedServer();
    OpenedServer(const OpenedServer &) = delete;
    OpenedServer &operator=(const OpenedServer &) = delete;

    int32_t status() const { return m_status; }
    sts_server_handle_t handle() const { return m_handle; }

    // An LSU record for this server. A name of 1024 bytes or more fills the field without a terminator.
    stsp_lsu_v7_t lsu(const std::string &name) const;

private:
    sts_server_handle_t m_handle = nullptr;  // before the status, whose making sets it
    int32_t m_status;
};

// Host records, as stspi_create_server takes them.
std::vector<sts_host_t> host_records(const std::vector<std::string> &names);
