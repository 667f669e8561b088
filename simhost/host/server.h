// One open server of a plug-in.
#pragma once

#include <string>
#include <vector>

#include "simhost/host/host.h"
#include "simhost/host/server_name.h"

class Server {
public:
    // A name that begins with the plug-in's own prefix is a disk array's; it is created for the hosts. Any other is
    // opened. Throws UsageError for a host name that does not fit.
    Server(Host &host, const std::string &name, const std::vector<std::string> &hosts);
    // Opens a Copan array as the target of a copy from source, which must outlive it. Throws UsageError for a name that
    // cannot be one.
    Server(Server &source, const std::string &name);
    // Releases the handle if close was not called.
    ~Server();
    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;

    void close();

    Host &host() const { return m_host; }
    const std::string &name() const { return m_name; }
    ServerKind kind() const { return m_kind; }
    sts_server_handle_t handle() const { return m_handle; }
    // Names an LSU of this server. Throws UsageError for a name that does not fit.
    stsp_lsu_v7_t lsu(const std::string &name) const;

    // The pools, or a Copan array's LSUs, in the plug-in's order.
    std::vector<std::string> list_lsus();
    // Why there are none.
    std::string why_no_lsus() const;
    // The unique device identifiers of a pool's volumes.
    std::vector<std::string> list_volumes(const std::string &pool);
    sts_lsu_info_v9_t lsu_info(const std::string &name);
    // Whether the server has properties of an LSU.
    bool knows_lsu(const std::string &name);
    sts_server_info_t server_info();
    // Why the hosts cannot use an LSU: there is none of that name, or the pool is not open to them. Empty when they can.
    std::string why_not_usable(const std::string &lsu_name);
    // That an LSU is unknown to the server.
    std::string no_such_lsu(const std::string &lsu_name) const;

    // Mounts "POOL:VOLUME" and returns the plug-in's result text.
    std::string mount(const std::string &lsu_name, const std::string &mount_point);
    void unmount(const std::string &lsu_name);

private:
    void create(const std::vector<std::string> &hosts);
    void open();
    void release() noexcept;
    std::vector<std::string> take_names(sts_lsu_list_handle_t list);
    std::string no_such_pool(const std::string &name) const;
    // Says in the call why it failed, if the status of a question about an LSU tells. Returns the status.
    int32_t explained(Call &call, int32_t status, const std::string &lsu_name) const;
    std::string why_not_mounted() const;

    Host &m_host;
    std::string m_name;
    std::vector<std::string> m_hosts;
    ServerKind m_kind;
    sts_server_handle_t m_handle = nullptr;
};

// Whether the plug-in claims the server.
bool is_claimed(Host &host, const std::string &server_name);
// What is the matter with the file that describes the server: that it cannot be read, where the server is not claimed, or
// that it is a directory, which the plug-in claims and finds nothing in. Empty when nothing is.
std::string claim_reason(const Host &host, const std::string &server_name, bool is_claimed);

// Asks the plug-in whether the server is its own; throws BadAnswer when it is not or only seems so, UsageError when the name lacks a part.
void demand_claim(Host &host, const std::string &server_name);

// Says in the call of an opening why it failed, if the status tells. Returns the status.
int32_t explained_opening(Call &call, int32_t status, const Host &host, const std::string &server_name);

// By the plug-in's prefix.
ServerKind kind_of_server(const Host &host, const std::string &server_name);

// "name, name, name"; cut with the number of the rest when there are many.
std::string joined(const std::vector<std::string> &names);
// "3: name, name, name"; "0".
std::string counted(const std::vector<std::string> &names);
