#include "simhost/host/server.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "base/escaped_text.h"
#include "base/text_field.h"
#include "simhost/host/failed_file_call.h"
#include "simhost/host/record_field.h"
#include "simhost/report/quantities.h"

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

bool is_claimed(Host &host, const std::string &server_name) {
    return host.call("stspi_claim", in_quotes(server_name),
                     [&](Call &) { return host.entry().claim(server_name.c_str()); }, {0, STS_E_NOT_CLAIMED}) == 0;
}

std::string claim_reason(const Host &host, const std::string &server_name, bool is_claimed) {
    const std::string file = host.configuration_file(server_name);
    std::error_code failure;
    if (std::filesystem::is_directory(file, failure))
        return fmt::format("{} is a directory: the plug-in claims its name, and finds nothing in it", file);
    if (!is_claimed && access(file.c_str(), R_OK) != 0)
        return fmt::format("{} cannot be read: {}", file, std::strerror(errno));
    return {};
}

void demand_claim(Host &host, const std::string &server_name) {
    demand_server_name(server_name);
    const bool claimed = is_claimed(host, server_name);
    const std::string reason = claim_reason(host, server_name, claimed);
    if (claimed && !reason.empty())
        throw BadAnswer(reason);
    if (!claimed)
        throw BadAnswer(fmt::format("the plug-in does not claim {}{}", in_quotes(server_name),
                                    reason.empty()
                                        ? fmt::format(", although {} can be read", host.configuration_file(server_name))
                                        : ": " + reason));
}

ServerKind kind_of_server(const Host &host, const std::string &server_name) {
    const std::string prefix = field_text(host.registration().prefix);
    const std::string own = prefix_part(server_name) + ':';
    return own.compare(0, prefix.size(), prefix) == 0 ? ServerKind::disk_array : ServerKind::copan;
}

int32_t explained_opening(Call &call, int32_t status, const Host &host, const std::string &server_name) {
    if (status == STS_E_INTERNAL)
        call.reason = fmt::format("no STORAGE_SERVER line of {} names {}", host.configuration_file(server_name),
                                  in_quotes(host_part(server_name)));
    return status;
}

std::string joined(const std::vector<std::string> &names) {
    std::string text;
    for (size_t i = 0; i < names.size() && i < names_shown; ++i)
        text += (i == 0 ? "" : ", ") + printable(names[i]);
    if (names.size() > names_shown)
        text += fmt::format(" and {} more", names.size() - names_shown);
    return text;
}

std::string counted(const std::vector<std::string> &names) {
    return names.empty() ? "0" : fmt::format("{}: {}", names.size(), joined(names));
}

Server::Server(Host &host, const std::string &name, const std::vector<std::string> &hosts)
    : m_host(host), m_name(name), m_hosts(hosts), m_kind(kind_of_server(host, name)) {
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
    try {
        m_host.call("stspi_open_target_server", in_quotes(m_name), [&](Call &call) {
            const int32_t status =
                m_host.entry().open_target_server(source.handle(), m_name.c_str(), nullptr, nullptr, &m_handle);
            return explained_opening(call, status, m_host, m_name);
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
    m_host.call("stspi_open_server", in_quotes(m_name), [&](Call &call) {
        const int32_t status =
            m_host.entry().open_server(m_host.session(), m_name.c_str(), nullptr, nullptr, &m_handle);
        return explained_opening(call, status, m_host, m_name);
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
                        name[0] = '\0';  // or an answer without a name would tell this one again
                        stop_if_interrupted();
                    }
                    call.result = counted(names);
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
    m_host.call("stspi_open_dynamic_lsu_list", in_quotes(pool), [&](Call &call) {
        const int32_t status = m_host.entry().open_dynamic_lsu_list(&record, &list.handle);
        if (status == STS_E_NO_SERVER)
            call.reason = no_such_pool(pool);
        return status;
    });
    std::vector<std::string> names = take_names(list.handle);
    list.close();
    return names;
}

sts_lsu_info_v9_t Server::lsu_info(const std::string &name) {
    const stsp_lsu_v7_t record = lsu(name);
    sts_lsu_info_v9_t info = {};
    m_host.call("stspi_get_lsu_prop_byname", in_quotes(name), [&](Call &call) {
        const int32_t status = explained(call, m_host.entry().get_lsu_prop_byname(&record, &info), name);
        if (status == 0) {
            call.result = fmt::format("class {}, capacity {}, used {}", info.lsu_class,
                                      bytes_in_words(info.capacity_bytes), bytes_in_words(info.used_bytes));
            if (info.property_text[0] != '\0')
                call.result += ", " + printable(field_text(info.property_text));
        }
        return status;
    });
    return info;
}

bool Server::knows_lsu(const std::string &name) {
    const stsp_lsu_v7_t record = lsu(name);
    sts_lsu_info_v9_t info = {};
    const int32_t status = m_host.call("stspi_get_lsu_prop_byname", in_quotes(name),
                                       [&](Call &) { return m_host.entry().get_lsu_prop_byname(&record, &info); },
                                       {0, STS_E_NO_SERVER, STS_E_NOT_FOUND, STS_E_INVALID_PARAMETER});
    // A pool without hosts is "not found".
    return status == 0 || status == STS_E_NOT_FOUND;
}

std::string Server::why_no_lsus() const {
    const std::string file = m_host.configuration_file(m_name);
    return m_kind == ServerKind::disk_array
               ? fmt::format("no pool is open to {}: no HOSTS line of {} names {}", joined(m_hosts), file,
                             m_hosts.size() == 1 ? "it" : "one of them")
               : fmt::format("{} has no LSUs: no VOLUMES line of {} names one for it", in_quotes(m_name), file);
}

std::string Server::why_not_usable(const std::string &lsu_name) {
    if (m_kind == ServerKind::disk_array && !lsu_name.empty() && lsu_name.front() == '/') {
        struct stat status = {};
        const bool is_there = stat(lsu_name.c_str(), &status) == 0;
        if (is_there && S_ISDIR(status.st_mode))
            return {};
        return fmt::format("{}: {}", printable(lsu_name), std::strerror(is_there ? ENOTDIR : errno));
    }
    const std::vector<std::string> offered = list_lsus();
    if (std::find(offered.begin(), offered.end(), lsu_name) != offered.end())
        return {};
    if (!knows_lsu(lsu_name))
        return no_such_lsu(lsu_name);
    if (lsu_name.find(':') != std::string::npos)
        return {};
    return fmt::format("the pool {} is not open to {}", in_quotes(lsu_name), joined(m_hosts));
}

std::string Server::no_such_pool(const std::string &name) const {
    return fmt::format("{} has no pool {}; \"simhost pools\" lists those open to its hosts", in_quotes(m_name),
                       in_quotes(name));
}

std::string Server::no_such_lsu(const std::string &lsu_name) const {
    if (m_kind == ServerKind::copan)
        return fmt::format("{} has no LSU {}; \"simhost pools\" lists those it has", in_quotes(m_name),
                           in_quotes(lsu_name));
    const size_t colon = lsu_name.find(':');
    if (colon == std::string::npos)
        return no_such_pool(lsu_name);
    return fmt::format("no pool of {} has a disk or volume {}; \"simhost volumes\" lists them", in_quotes(m_name),
                       in_quotes(lsu_name.substr(colon + 1)));
}

int32_t Server::explained(Call &call, int32_t status, const std::string &lsu_name) const {
    if (status == STS_E_NO_SERVER)
        call.reason = no_such_lsu(lsu_name);
    else if (status == STS_E_NOT_FOUND && m_kind == ServerKind::disk_array)
        call.reason = fmt::format("the pool {} has no HOSTS", in_quotes(lsu_name));
    else if (status == STS_E_INVALID_PARAMETER && lsu_name.empty())
        call.reason = "the LSU's name is empty";
    else if (status == STS_E_INVALID_PARAMETER && lsu_name.front() == ':')
        call.reason = fmt::format("{} names no pool in front of its ':'", in_quotes(lsu_name));
    else if (status == STS_E_SYSTEM && access(lsu_name.c_str(), F_OK) != 0)
        call.reason = fmt::format("{}: {}", printable(lsu_name), std::strerror(errno));
    else if (status != 0)
        call.reason = failed_file_call();
    return status;
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
        else if (status == STS_E_SYSTEM)
            call.reason = why_not_mounted();
        return status;
    });
    return field_text(result);
}

// The plug-in answers every failure of a mount with the same status.
std::string Server::why_not_mounted() const {
    if (std::string failed = failed_file_call(); !failed.empty())
        return failed;
    if (m_host.has_logged_error())
        return "the plug-in's message says why";
    return fmt::format("no file-system call failed and the plug-in logs nothing: MOUNT_BEHAVIOR in {} is not SUCCESS",
                       m_host.configuration_file(m_name));
}

void Server::unmount(const std::string &lsu_name) {
    m_host.call("stspi_unmount_lsu", in_quotes(lsu_name), [&](Call &) { return m_host.entry().unmount_lsu(); });
}
