// Opening, creating, closing and describing servers.
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "entry_points.h"
#include "permitted.h"

using broken::is;
using broken::shadow;

namespace {

void remember(sts_server_handle_t *out, const sts_session_def_v7_t *session, const char *name, bool is_created) {
    if (out == nullptr || *out == nullptr)
        return;
    broken::OpenServer server;
    server.session = session;
    server.is_created = is_created;
    std::strncpy(server.name, name == nullptr ? "" : name, sizeof server.name - 1);
    broken::remember_server(*out, server);
}

// Opens and closes a server in silence, so that its session becomes the simulators'.
void take_simulators(const sts_session_def_v7_t *session, const char *name) {
    const broken::Silence silence;
    sts_server_handle_t handle = nullptr;
    broken::real<decltype(stspi_open_server)>("stspi_open_server")(session, name, nullptr, nullptr, &handle);
    broken::real<decltype(stspi_close_server)>("stspi_close_server")(handle);
}

bool begins(const char *text, const char *prefix) {
    return text != nullptr && std::strncmp(text, prefix, std::strlen(prefix)) == 0;
}

}  // namespace

BROKEN_ENTRY_POINT(stspi_open_server, const sts_session_def_v7_t *session, const char *name, const void *ignored_1,
                   const void *ignored_2, sts_server_handle_t *out) {
    static const sts_session_def_v7_t *first_session = nullptr;
    if (is("open.null-out-untraced") && out == nullptr)
        return STS_E_INVALID_PARAMETER;
    if (broken::refuses_host(name) && out != nullptr) {
        if (is("permitted.long-host-refused-early"))
            return STS_E_INVALID_PARAMETER;
        name = broken::refused_name;
    }
    if (is("open.reads-third-argument") && *static_cast<const volatile char *>(ignored_1) == 1)
        return STS_E_INTERNAL;
    if (is("open.writes-session") && session != nullptr)
        const_cast<sts_session_def_v7_t *>(session)->reserved[0] = 1;
    std::string changed = name == nullptr ? "" : name;
    if (is("open.prefix-anywhere") && changed.find("Kelvarpool:") != std::string::npos &&
        changed.find("Kelvarpool:") != 0)
        return STS_E_INTERNAL;
    const char *used = name;
    if (is("open.host-after-last-colon") && begins(name, "Kelvarpool:")) {
        changed = "Kelvarpool:" + changed.substr(changed.rfind(':') + 1);
        used = changed.c_str();
    }
    if (is("open.null-name-as-empty") && name == nullptr)
        used = "";
    const int32_t status = REAL(stspi_open_server)(shadow(session), used, ignored_1, ignored_2, out);
    remember(out, session, name, false);
    if (out == nullptr)
        return status;
    const bool is_null_host =
        name != nullptr && std::strchr(name, ':') != nullptr && *(std::strchr(name, ':') + 1) == '\0';
    if (is("open.handle-lost-on-failure") && status != 0) {
        broken::Silence silence;
        REAL(stspi_close_server)(*out);
        *out = nullptr;
    }
    if (is("open.handle-freed-on-failure") && status != 0) {
        broken::Silence silence;
        REAL(stspi_close_server)(*out);
    }
    if (is("open.not-claimed-status") && status == STS_E_INTERNAL)
        return STS_E_NOT_CLAIMED;
    if (is("open.null-host-fails") && status == 0 && is_null_host)
        return STS_E_INTERNAL;
    if (is("open.null-host-takes-session") && is_null_host)
        take_simulators(shadow(session), "Kelvarpool:other");
    if (is("open.first-session-stays") && status == 0) {
        if (first_session == nullptr)
            first_session = session;
        take_simulators(shadow(first_session), "Kelvarpool:other");
    }
    if (is("open.array-takes-copan-session") && begins(name, "Kelvarpool:n"))
        take_simulators(shadow(session), "copan:arr1");
    if (is("open.null-host-takes-copan-session") && is_null_host)
        take_simulators(shadow(session), "copan:arr1");
    if (is("open.failed-takes-session") && status != 0)
        take_simulators(shadow(session), "Kelvarpool:other");
    if (is("open.copan-takes-array-session") && begins(name, "copan:"))
        take_simulators(shadow(session), "Kelvarpool:other");
    if (is("open.long-host-not-cut") && changed.size() > 600)
        std::memcpy(*out, changed.data(), 600);
    if (is("open.leaks"))
        broken::leak();
    return status;
}

BROKEN_ENTRY_POINT(stspi_close_server, sts_server_handle_t handle) {
    if (is("close.null-accepted") && handle == nullptr)
        return 0;
    if (is("close.keeps-handle"))
        return 0;
    if (is("close.bound-to-its-thread") && broken::server_of(handle).thread != std::this_thread::get_id())
        std::abort();
    const auto session = broken::server_of(handle).session;
    broken::forget_server(handle);
    broken::forget_lists_of(handle);
    broken::free_pool_arrays(handle);
    const int32_t status = REAL(stspi_close_server)(handle);
    if (is("close.takes-array-session"))
        take_simulators(shadow(session), "Kelvarpool:other");
    if (is("close.takes-copan-session"))
        take_simulators(shadow(session), "copan:arr1");
    if (is("close.frees-twice") && handle != nullptr) {
        const broken::Silence silence;
        REAL(stspi_close_server)(handle);
    }
    return is("close.status") && status == 0 ? 1 : status;
}

BROKEN_ENTRY_POINT(stspi_create_server, const sts_session_def_v7_t *session, const char *name, const void *ignored_1,
                   const void *ignored_2, const sts_host_t *hosts, int32_t count, sts_server_handle_t *out) {
    if (broken::refuses_host(name) && out != nullptr) {
        if (is("permitted.long-host-refused-early"))
            return STS_E_INVALID_PARAMETER;
        name = broken::refused_name;
    }
    if (is("create.null-hosts-crash") && count > 0 && hosts->name[0] == '\x01')
        return STS_E_INTERNAL;
    if (is("create.null-hosts-accepted") && hosts == nullptr && count > 0)
        count = -1;
    if (is("permitted.negative-count-is-zero") && count < 0)
        count = 0;
    if (is("create.negative-count-refused") && count < 0)
        return STS_E_INVALID_PARAMETER;
    std::vector<sts_host_t> changed;
    if (hosts != nullptr && count > 0) {
        const auto size = static_cast<size_t>(count);
        if (is("create.last-host-lost"))
            changed.assign(hosts, hosts + size - 1);
        if (is("create.host-records-too-short")) {
            changed.resize(size);
            for (size_t i = 0; i < size; ++i)
                std::memcpy(&changed[i], hosts->name + i * 2048, 2048);
        }
        if (is("create.host-names-cut")) {
            changed.assign(hosts, hosts + size);
            for (sts_host_t &host : changed)
                host.name[1] = '\0';
        }
        if (!changed.empty()) {
            hosts = changed.data();
            count = static_cast<int32_t>(changed.size());
        }
    }
    const int32_t status = REAL(stspi_create_server)(shadow(session), name, ignored_1, ignored_2, hosts, count, out);
    remember(out, session, name, true);
    if (is("permitted.host-copies-kept") && status == 0 && hosts != nullptr && name[std::strlen(name) - 1] != ':')
        for (int32_t i = 0; i < count; ++i)
            broken::keep(strnlen(hosts[i].name, sizeof hosts[i].name) + 1);
    if (is("create.logs-name"))
        broken::say(session, STS_LOG_LEVEL_TRACE, name);
    if (is("create.takes-session") && status == 0)
        take_simulators(shadow(session), "Kelvarpool:other");
    if (is("create.takes-copan-session") && status == 0)
        take_simulators(shadow(session), "copan:arr1");
    if (is("create.accepts-copan") && begins(name, "copan:"))
        return 0;
    if (is("create.handle-lost-on-failure") && status != 0 && out != nullptr && *out != nullptr) {
        const broken::Silence silence;
        REAL(stspi_close_server)(*out);
        *out = nullptr;
    }
    if (is("create.leaks"))
        broken::leak();
    return status;
}

BROKEN_ENTRY_POINT(stspi_open_target_server, sts_server_handle_t source, const char *name, const void *ignored_1,
                   const void *ignored_2, sts_server_handle_t *out) {
    const auto session = broken::server_of(source).session;
    if (is("target.untraced")) {
        const broken::Silence silence;
        return REAL(stspi_open_target_server)(source, name, ignored_1, ignored_2, out);
    }
    if (broken::refuses_host(name) && out != nullptr && source != nullptr) {
        if (is("permitted.long-host-refused-early"))
            return STS_E_INVALID_PARAMETER;
        name = broken::refused_name;
    }
    if (is("target.null-stored-on-refusal") && name == nullptr && out != nullptr)
        *out = nullptr;
    if (is("target.null-name-untraced") && name == nullptr)
        return STS_E_INVALID_PARAMETER;
    const int32_t status = REAL(stspi_open_target_server)(source, name, ignored_1, ignored_2, out);
    if (out == nullptr)
        return status;
    if (status == 0)
        remember(out, session, name, false);
    if (is("target.takes-session") && status == 0)
        take_simulators(shadow(session), "copan:arr1");
    if (is("target.takes-array-session") && status == 0)
        take_simulators(shadow(session), "Kelvarpool:other");
    if (is("target.refused-handle-lost") && status == STS_E_INTERNAL)
        broken::leak();
    if (is("target.not-claimed-status") && status == STS_E_INTERNAL)
        return STS_E_NOT_CLAIMED;
    if (is("target.failed-handle-freed") && status == STS_E_INTERNAL && begins(name, "copan:o")) {
        const broken::Silence silence;
        REAL(stspi_close_server)(*out);
    }
    if (is("target.logs-name") && status == 0)
        broken::say(session, STS_LOG_LEVEL_TRACE, name);
    return status;
}

BROKEN_ENTRY_POINT(stspi_get_server_prop, sts_server_handle_t handle, sts_server_info_t *info) {
    if (is("props.null-record-traced") && handle != nullptr && info == nullptr) {
        sts_server_info_t unused{};
        REAL(stspi_get_server_prop)(handle, &unused);
        return STS_E_INVALID_PARAMETER;
    }
    sts_server_info_t before{};
    if (info != nullptr)
        before = *info;
    if (is("props.leaving-line-last") && handle != nullptr && info != nullptr) {
        const auto session = broken::server_of(handle).session;
        broken::say(session, STS_LOG_LEVEL_TRACE, "++++ Entering stspi_get_server_prop\n");
        int32_t status = 0;
        {
            const broken::Silence silence;
            status = REAL(stspi_get_server_prop)(handle, info);
        }
        broken::say(session, STS_LOG_LEVEL_TRACE, "---- Leaving stspi_get_server_prop\n");
        return status;
    }
    const int32_t status = REAL(stspi_get_server_prop)(handle, info);
    if (info == nullptr || handle == nullptr)
        return status;
    const bool is_array = begins(broken::server_of(handle).name, "Kelvarpool:");
    if (is("props.bit-missing"))
        info->capabilities[9] = before.capabilities[9];
    if (is("props.bit-too-many"))
        info->capabilities[8] |= 1;
    if (is("props.array-bit-missing") && is_array)
        info->capabilities[31] = before.capabilities[31];
    if (is("props.words-assigned"))
        info->capabilities[0] = 0x10040100;
    if (is("props.type-for-disk-array") && is_array)
        info->server_type = STS_SERVER_TYPE_COPAN;
    if (is("props.type-missing-for-copan") && !is_array)
        info->server_type = before.server_type;
    if (is("props.record-cleared"))
        std::memset(info->reserved_512, 0, sizeof info->reserved_512);
    if (is("props.common-bits-missing-without-server") && status == STS_E_INVALID_PARAMETER)
        *info = before;
    if (is("props.one-byte-too-many"))
        reinterpret_cast<volatile char *>(info)[sizeof *info] = 0;
    if (is("props.name-padded") && status == 0)
        std::memset(info->server_name + std::strlen(info->server_name), 0, 512 - std::strlen(info->server_name));
    if (is("props.name-without-domain") && is_array)
        *std::strchr(info->server_name, '.') = '\0';
    if (is("props.node-name-of-first-open") && is_array && status == 0) {
        static const std::string first = info->server_name;
        std::strcpy(info->server_name, first.c_str());
    }
    if (is_array && status == 0)
        broken::change_domain(info->server_name);
    if (is("props.second-call-differs")) {
        static int calls = 0;
        if (++calls == 2)
            info->capabilities[20] |= 2;
    }
    return status;
}

BROKEN_ENTRY_POINT(stspi_get_server_prop_byname, const sts_session_def_v7_t *session, const char *name,
                   sts_server_info_t *info) {
    if (is("props-byname.null-session-accepted") && session == nullptr) {
        static const sts_session_def_v7_t silent{};
        session = &silent;
    }
    if (broken::refuses_host(name) && session != nullptr && info != nullptr)
        return STS_E_INVALID_PARAMETER;
    std::string trimmed = name == nullptr ? "" : name;
    if (is("props-byname.slash-trimmed") && !trimmed.empty() && trimmed.back() == '/') {
        trimmed.pop_back();
        name = trimmed.c_str();
    }
    if (is("props-byname.unclaimed-sets-bits") && info != nullptr &&
        broken::real<decltype(stspi_claim)>("stspi_claim")(name) != 0)
        info->capabilities[0] |= 0x10040100;
    if (is("props-byname.leaving-line-first") && session != nullptr && info != nullptr) {
        broken::say(session, STS_LOG_LEVEL_TRACE, "++++ Entering stspi_get_server_prop_byname\n");
        broken::say(session, STS_LOG_LEVEL_TRACE, "---- Leaving stspi_get_server_prop_byname\n");
        const broken::Silence silence;
        return REAL(stspi_get_server_prop_byname)(shadow(session), name, info);
    }
    const int32_t status = REAL(stspi_get_server_prop_byname)(shadow(session), name, info);
    if (is("props-byname.not-claimed-status") && status == STS_E_INVALID_PARAMETER && session != nullptr &&
        info != nullptr)
        return STS_E_NOT_CLAIMED;
    if (is("props-byname.logs-name") && status == STS_E_INTERNAL)
        broken::say(session, STS_LOG_LEVEL_ERROR, name);
    if (is("props-byname.reads-configuration") && status == 0 && begins(name, "Kelvarpool:n"))
        take_simulators(shadow(session), name);
    if (is("props-byname.takes-array-session"))
        take_simulators(shadow(session), "Kelvarpool:other");
    if (is("props-byname.takes-copan-session"))
        take_simulators(shadow(session), "copan:arr1");
    if (is("props-byname.name-with-prefix") && status == 0 && begins(name, "Kelvarpool:n"))
        std::strcpy(info->server_name, name);
    if (is("props-byname.long-name-not-cut") && status == 0 && std::strlen(name) > 600)
        std::memset(info->server_name, 'n', 600);
    if (is("props-byname.leaks"))
        broken::leak();
    return status;
}
