// Servers that benchmarks call on.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "stspi/stspi.h"

// Ends the program when a call that a benchmark builds on fails.
inline void expect_success(int32_t status, const char *call) {
    if (status == 0)
        return;
    std::fprintf(stderr, "%s gave %d\n", call, status);
    std::exit(1);
}

// A server handle, closed at the end of its scope. Without a session: nothing is logged.
class OpenServer {
public:
    // For a list of hosts with mediaA alone, as pools need it.
    static OpenServer of_hosts() {
        static const sts_host_t host = {"mediaA"};
        sts_server_handle_t handle = nullptr;
        expect_success(stspi_create_server(nullptr, "Kelvarpool:mediaA", nullptr, nullptr, &host, 1, &handle),
                       "stspi_create_server");
        return OpenServer(handle);
    }
    static OpenServer by_name(const char *name) {
        sts_server_handle_t handle = nullptr;
        expect_success(stspi_open_server(nullptr, name, nullptr, nullptr, &handle), "stspi_open_server");
        return OpenServer(handle);
    }
    ~OpenServer() { stspi_close_server(m_handle); }
    OpenServer(const OpenServer &) = delete;
    OpenServer &operator=(const OpenServer &) = delete;

    sts_server_handle_t handle() const { return m_handle; }

    stsp_lsu_v7_t lsu(const char *name) const {
        stsp_lsu_v7_t lsu = {m_handle, ""};
        std::snprintf(lsu.lsu_name, sizeof lsu.lsu_name, "%s", name);
        return lsu;
    }

private:
    explicit OpenServer(sts_server_handle_t handle) : m_handle(handle) {}
    sts_server_handle_t m_handle;
};
