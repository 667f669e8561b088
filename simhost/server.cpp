#include "simhost/server.h"

#include <fmt/format.h>

#include "simhost/text_field.h"

namespace {

constexpr size_t names_shown = 20;

// A list of LSUs, closed when it goes out of scope.
class LsuList {
public:
    explicit LsuList(Host &host) : m_host(host) {}
    LsuList(const LsuList &) = delete;
    LsuList &operator=(const LsuList &) = delete;
    ~LsuList() {
        if (handle != nullptr)
            m_host.release("stspi_close_lsu_list", "",
                           [this](Call &) { return m_host.entry().close_lsu_list(handle); });
    }

    void close() {
        sts_lsu_list_handle_t list = std::exchange(handle, nullptr);
        m_host.call("stspi_close_lsu_list", "", [&](Call &) { return m_host.entry().close_lsu_list(list); });
    }

    sts_lsu_list_handle_t handle = nullptr;

private:
    Host &m_host;
};

}  // namespace

void demand_claim(Host &host, const std::string &server_name) {
    const int32_t status =
        host.call("stspi_claim", in_quotes(server_name),
                  [&](Call &) { return host.entry().claim(server_name.c_str()); }, {0, STS_E_NOT_CLAIMED});
    if (status != 0)
        throw BadAnswer(fmt::format("the plug-in does not claim {}: {}/{}.sim cannot be read", in_quotes(server_name),
                                    host.config_directory(), printable(server_name.substr(0, server_name.find(':')))));
}

ServerKind kind_of_server(const Host &host, const std::string &server_name) {
    const std::string prefix = field_text(host.registration().prefix);
    return server_name.compare(0, prefix.size(), prefix) == 0 ? ServerKind::disk_array : ServerKind::copan;
}

std::string host_part(const std::string &server_name) {
    const size_t colon = server_name.find(':');
    return colon == std::string::npos ? server_name : server_name.substr(colon + 1);
}

std::string joined(const std::vector<std::string> &names) {
    std::string text;
    for (size_t i = 0; i < names.size() && i < names_shown; ++i)
        text += (i == 0 ? "" : ", ") + printable(names[i]);
    if (names.size() > names_shown)
        text += fmt::format(" and {} more", names.size() - names_shown);
    return text;
}

Server::Server(Host &host, const std::string &name, const std::vector<std::string> &hosts)
    : m_host(host), m_name(name), m_kind(kind_of_server(host, name)) {
    try {
        if (m_kind == ServerKind::disk_array)
            create(hosts);
        else
            open();
    } catch (...) {
        // A failed opening may have stored a handle.
        release();
        throw;
    }
}

Server::~Server() { release(); }

void Server::release() noexcept {
    if (m_handle != nullptr)
        m_host.release("stspi_close_server", in_quotes(m_name),
                       [this](Call &) { return m_host.entry().close_server(m_handle); });
}

Server::Server(Server &source, const std::string &name)
    : m_host(source.m_host), m_name(name), m_kind(ServerKind::copan) {
    // What is stored with the error for one of these is a handle that is freed already.
    if (kind_of_server(m_host, name) == ServerKind::disk_array)
        throw UsageError("a disk array cannot be the target of a copy between servers");
    if (host_part(name).empty())
        throw UsageError(fmt::format("the server name {} has no HOST", in_quotes(name)));
    try {
        m_host.call("stspi_open_target_server", in_quotes(m_name), [&](Call &) {
            return m_host.entry().open_target_server(source.handle(), m_name.c_str(), nullptr, nullptr, &m_handle);
        });
    } catch (...) {
        release();
        throw;
    }
}

void Server::close() {
    sts_server_handle_t handle = std::exchange(m_handle, nullptr);
    m_host.call("stspi_close_server", in_quotes(m_name), [&](Call &) { return m_host.entry().close_server(handle); });
}

void Server::create(const std::vector<std::string> &hosts) {
    std::vector<sts_host_t> records(hosts.size());
    for (size_t i = 0; i < hosts.size(); ++i)
        set_field(records[i].name, hosts[i], "a host name");
    m_host.call("stspi_create_server", fmt::format("{}, hosts {}", in_quotes(m_name), joined(hosts)), [&](Call &) {
        return m_host.entry().create_server(m_host.session(), m_name.c_str(), nullptr, nullptr, records.data(),
                                            static_cast<int32_t>(records.size()), &m_handle);
    });
}

void Server::open() {
    m_host.call("stspi_open_server", in_quotes(m_name), [&](Call &) {
        return m_host.entry().open_server(m_host.session(), m_name.c_str(), nullptr, nullptr, &m_handle);
    });
}

stsp_lsu_v7_t Server::lsu(const std::string &name) const {
    stsp_lsu_v7_t record = {};
    record.server = m_handle;
    set_field(record.lsu_name, name, "the LSU name");
    return record;
}

std::vector<std::string> Server::take_names(sts_lsu_list_handle_t list) {
    std::vector<std::string> names;
    m_host.call("stspi_list_lsu", "until the end",
                [&](Call &call) {
                    char name[STS_LSU_NAME_SIZE] = {};
                    int32_t status = 0;
                    for (call.times = 1; (status = m_host.entry().list_lsu(list, name)) == 0; ++call.times) {
                        names.push_back(field_text(name));
                        stop_if_interrupted();
                    }
                    call.result = fmt::format("{}: {}", names.size(), joined(names));
                    return status;
                },
                {STS_E_NO_MORE_ENTRIES});
    return names;
}

std::vector<std::string> Server::list_lsus() {
    LsuList list(m_host);
    m_host.call("stspi_open_lsu_list", "",
                [&](Call &) { return m_host.entry().open_lsu_list(m_handle, nullptr, &list.handle); });
    std::vector<std::string> names = take_names(list.handle);
    list.close();
    return names;
}

std::vector<std::string> Server::list_volumes(const std::string &pool) {
    const stsp_lsu_v7_t record = lsu(pool);
    LsuList list(m_host);
    m_host.call("stspi_open_dynamic_lsu_list", in_quotes(pool),
                [&](Call &) { return m_host.entry().open_dynamic_lsu_list(&record, &list.handle); });
    std::vector<std::string> names = take_names(list.handle);
    list.close();
    return names;
}

sts_lsu_info_v9_t Server::lsu_info(const std::string &name) {
    const stsp_lsu_v7_t record = lsu(name);
    sts_lsu_info_v9_t info = {};
    m_host.call("stspi_get_lsu_prop_byname", in_quotes(name), [&](Call &call) {
        const int32_t status = m_host.entry().get_lsu_prop_byname(&record, &info);
        if (status == 0) {
            call.result = fmt::format("class {}, capacity {} bytes, used {} bytes", info.lsu_class, info.capacity_bytes,
                                      info.used_bytes);
            if (info.property_text[0] != '\0')
                call.result += ", " + printable(field_text(info.property_text));
        }
        return status;
    });
    return info;
}

sts_server_info_t Server::server_info() {
    sts_server_info_t info = {};
    m_host.call("stspi_get_server_prop", in_quotes(m_name),
                [&](Call &) { return m_host.entry().get_server_prop(m_handle, &info); });
    return info;
}

std::string Server::mount(const std::string &lsu_name, const std::string &mount_point) {
    const stsp_lsu_v7_t record = lsu(lsu_name);
    char result[STS_MOUNT_RESULT_SIZE] = {};
    m_host.call("stspi_mount_lsu", fmt::format("{}, {}", in_quotes(lsu_name), in_quotes(mount_point)), [&](Call &call) {
        const int32_t status = m_host.entry().mount_lsu(&record, mount_point.c_str(), 1, 0, result);
        if (status == 0)
            call.result = printable(field_text(result));
        return status;
    });
    return field_text(result);
}

void Server::unmount(const std::string &lsu_name) {
    m_host.call("stspi_unmount_lsu", in_quotes(lsu_name), [&](Call &) { return m_host.entry().unmount_lsu(); });
}
