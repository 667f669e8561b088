// LSU lists.
#include <fcntl.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "entry_points.h"
#include "permitted.h"

using broken::is;

namespace {

// Lists that the wrapper steps through on its own, for breakages of order.
struct OwnList {
    std::vector<std::string> names;
    size_t next = 0;
};

std::mutex mutex;
std::map<sts_lsu_list_handle_t, OwnList> own_lists;
OwnList shared;
std::map<sts_lsu_list_handle_t, sts_server_handle_t> list_servers;

bool begins(const char *text, const char *prefix) { return std::strncmp(text, prefix, std::strlen(prefix)) == 0; }

bool is_pool_list(sts_server_handle_t server) { return begins(broken::server_of(server).name, "Kelvarpool:"); }

void take_over(sts_lsu_list_handle_t list, bool is_copan) {
    OwnList own;
    const broken::Silence silence;
    char name[STS_LSU_NAME_SIZE];
    while (REAL(stspi_list_lsu)(list, name) == 0)
        own.names.emplace_back(name);
    if (is("list.file-order") && !is_copan)
        std::reverse(own.names.begin(), own.names.end());
    if (is("list.sorted"))
        std::sort(own.names.begin(), own.names.end());
    if (is("list.copan-reversed") && is_copan)
        std::reverse(own.names.begin(), own.names.end());
    if (is("list.copan-repeated-dropped") && is_copan && own.names.size() == 3)
        own.names.pop_back();
    if (is("list.repeated-pool") && !is_copan && !own.names.empty())
        own.names.push_back(own.names.front());
    if (is("list.first-entry-lost") && !own.names.empty())
        own.names.erase(own.names.begin());
    if (is("list.last-entry-lost") && !own.names.empty())
        own.names.pop_back();
    if (is("list.udid-as-name") && !own.names.empty())
        for (std::string &one : own.names)
            if (one.rfind("#UDID#", 0) == 0)
                one = one.substr(one.rfind('#', one.size() - 2) + 1, one.size() - one.rfind('#', one.size() - 2) - 2);
    const std::lock_guard lock(mutex);
    own_lists[list] = own;
    if (shared.names.empty())
        shared = own;
}

constexpr const char *own_stepping[] = {
    "list.file-order",    "list.sorted",           "list.copan-reversed",  "list.copan-repeated-dropped",
    "list.repeated-pool", "list.first-entry-lost", "list.last-entry-lost", "list.udid-as-name",
    "list.cursor-shared"};

bool steps_on_its_own() {
    return std::any_of(std::begin(own_stepping), std::end(own_stepping), [](const char *one) { return is(one); });
}

void opened(sts_lsu_list_handle_t *out, sts_server_handle_t server, int32_t status) {
    if (out == nullptr || *out == nullptr)
        return;
    {
        const std::lock_guard lock(mutex);
        list_servers[*out] = server;
    }
    if (status == 0 && steps_on_its_own())
        take_over(*out, !is_pool_list(server));
}

}  // namespace

void broken::forget_lists_of(sts_server_handle_t server) {
    const std::lock_guard lock(mutex);
    for (auto list = list_servers.begin(); list != list_servers.end();) {
        const bool goes = list->second == server;
        if (goes)
            own_lists.erase(list->first);
        list = goes ? list_servers.erase(list) : std::next(list);
    }
}

BROKEN_ENTRY_POINT(stspi_open_lsu_list, sts_server_handle_t handle, const void *ignored, sts_lsu_list_handle_t *out) {
    if (is("list.null-out-crashes") && handle != nullptr)
        *out = nullptr;
    if (is("list.reads-ignored-argument") && *static_cast<const volatile char *>(ignored) == 1)
        return 1;
    const int32_t status = REAL(stspi_open_lsu_list)(handle, ignored, out);
    if (out == nullptr || handle == nullptr)
        return status;
    if (is("list.handle-lost-on-failure") && status != 0 && *out != nullptr) {
        const broken::Silence silence;
        REAL(stspi_close_lsu_list)(*out);
        *out = nullptr;
        return status;
    }
    opened(out, handle, status);
    if (status == 0 && is_pool_list(handle)) {
        if (is("permitted.pool-arrays-late"))
            broken::keep_pool_array(handle);
        if (is("permitted.pool-arrays-kept"))
            broken::keep(200);
    }
    if (is("list.open-leaks") && status == 0)
        broken::leak();
    if (is("list.open-leaves-descriptor"))
        open("/dev/null", O_RDONLY);
    if (is("list.no-server-status") && status == STS_E_INTERNAL)
        return STS_E_NO_SERVER;
    if (is("list.single-host-status") && status == STS_E_INVALID_PARAMETER)
        return STS_E_NOT_SUPPORTED;
    return status;
}

BROKEN_ENTRY_POINT(stspi_open_dynamic_lsu_list, const stsp_lsu_v7_t *lsu, sts_lsu_list_handle_t *out) {
    if (is("list.dynamic-traced") && lsu != nullptr)
        broken::say(broken::server_of(lsu->server).session, STS_LOG_LEVEL_TRACE,
                    "++++ Entering stspi_open_dynamic_lsu_list\n");
    if (is("list.dynamic-null-handle-crashes") && lsu != nullptr &&
        *reinterpret_cast<volatile char *>(lsu->server) == 0x7f)
        return 1;
    const int32_t status = REAL(stspi_open_dynamic_lsu_list)(lsu, out);
    if (lsu == nullptr || out == nullptr)
        return status;
    if (is("list.dynamic-handle-stored-on-refusal") && status == STS_E_INVALID_PARAMETER && lsu->server != nullptr)
        *out = reinterpret_cast<sts_lsu_list_handle_t>(lsu->server);
    if (is("list.dynamic-unknown-pool-status") && status == STS_E_NO_SERVER)
        return STS_E_NOT_FOUND;
    if (is("list.dynamic-handle-lost") && status == STS_E_NO_SERVER) {
        REAL(stspi_close_lsu_list)(*out);
        *out = nullptr;
    }
    opened(out, lsu->server, status);
    return status;
}

BROKEN_ENTRY_POINT(stspi_list_lsu, sts_lsu_list_handle_t list, char *out_name) {
    static std::mutex lock_left_held;
    if (list == nullptr)
        return REAL(stspi_list_lsu)(list, out_name);
    if (steps_on_its_own() && out_name != nullptr) {
        const std::lock_guard lock(mutex);
        const auto found = own_lists.find(list);
        if (found != own_lists.end()) {
            OwnList &own = is("list.cursor-shared") ? shared : found->second;
            if (own.next == own.names.size())
                return STS_E_NO_MORE_ENTRIES;
            std::strcpy(out_name, own.names[own.next++].c_str());
            return 0;
        }
    }
    if (is("list.lock-left-held"))
        lock_left_held.lock();
    if (is("list.null-buffer-skips-entry") && out_name == nullptr) {
        char unused[STS_LSU_NAME_SIZE];
        REAL(stspi_list_lsu)(list, unused);
        return STS_E_INVALID_PARAMETER;
    }
    if (is("list.null-buffer-crashes"))
        *static_cast<volatile char *>(out_name) = 0;
    if (is("list.buffer-cleared") && out_name != nullptr)
        std::memset(out_name, 0, STS_LSU_NAME_SIZE);
    const int32_t status = REAL(stspi_list_lsu)(list, out_name);
    if (is("list.lock-left-held") && status == 0)
        lock_left_held.unlock();
    if (is("list.static-buffer") && status == 0) {
        static char buffer[STS_LSU_NAME_SIZE];
        std::strcpy(buffer, out_name);
        std::this_thread::yield();
        std::strcpy(out_name, buffer);
    }
    if (is("list.buffer-of-the-server") && status == 0) {
        static std::map<sts_server_handle_t, std::array<char, STS_LSU_NAME_SIZE>> buffers;
        char *buffer = out_name;
        {
            const std::lock_guard lock(mutex);
            const auto server = list_servers.find(list);
            if (server != list_servers.end())
                buffer = buffers[server->second].data();
        }
        std::memmove(buffer, out_name, STS_LSU_NAME_SIZE);
        std::this_thread::yield();
        std::memmove(out_name, buffer, STS_LSU_NAME_SIZE);
    }
    if (is("list.end-status") && status == STS_E_NO_MORE_ENTRIES)
        return STS_E_NOT_FOUND;
    if (is("list.end-said-once") && status == STS_E_NO_MORE_ENTRIES) {
        static std::map<sts_lsu_list_handle_t, int> ends;
        if (ends[list]++ > 0)
            return STS_E_INVALID_PARAMETER;
    }
    if (is("list.end-empties-buffer") && status == STS_E_NO_MORE_ENTRIES)
        *out_name = '\0';
    if (is("list.failed-list-ends") && status == STS_E_INVALID_PARAMETER && out_name != nullptr)
        return STS_E_NO_MORE_ENTRIES;
    if (is("list.one-byte-too-many") && status == 0)
        static_cast<volatile char *>(out_name)[STS_LSU_NAME_SIZE] = 0;
    return status;
}

BROKEN_ENTRY_POINT(stspi_close_lsu_list, sts_lsu_list_handle_t list) {
    if (is("list.close-null-accepted") && list == nullptr)
        return 0;
    {
        const std::lock_guard lock(mutex);
        own_lists.erase(list);
        list_servers.erase(list);
    }
    if (is("list.close-keeps"))
        return 0;
    const int32_t status = REAL(stspi_close_lsu_list)(list);
    if (is("list.close-frees-twice") && list != nullptr) {
        const broken::Silence silence;
        REAL(stspi_close_lsu_list)(list);
    }
    return status;
}
