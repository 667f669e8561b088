#include "filter/call_view.h"

#include "filter/caller_memory.h"
#include "filter/ledger/text_hash.h"
#include "filter/rules/function_traits.h"
#include "filter/rules/pattern.h"
#include "stspi/stsimg.h"
#include "stspi/stspi.h"

namespace filter {

std::string_view host_part(std::string_view server_name) {
    const size_t colon = server_name.find(':');
    return colon == std::string_view::npos ? server_name : server_name.substr(colon + 1);
}

namespace {

constexpr size_t longest_name = 4096;
constexpr int32_t most_hosts = 4096;

}  // namespace

uint64_t CallView::offset() const {
    const Extent extent = extent_of(function());
    return extent.offset < 0 ? 0 : argument(static_cast<unsigned>(extent.offset));
}

uint64_t CallView::length() const {
    const int number = length_argument();
    return number < 0 ? 0 : argument(static_cast<unsigned>(number));
}

int CallView::length_argument() const { return extent_of(function()).length; }

uint64_t *CallView::count() const {
    const Extent extent = extent_of(function());
    return extent.count < 0 ? nullptr : pointer<uint64_t>(argument(static_cast<unsigned>(extent.count)));
}

bool CallView::host_matches(const std::string &pattern) {
    find_names();
    if (m_hosts == nullptr)
        return false;
    for (const std::string &host : *m_hosts)
        if (matches(pattern, host))
            return true;
    return false;
}

const sts_session_def_v7_t *CallView::session() {
    find_names();
    return m_session;
}

const HandleNames *CallView::handle_names() {
    find_names();
    return m_owner.get();
}

uint64_t CallView::identity() {
    find_names();
    uint64_t hash = function();
    for (const std::string_view name : m_names)
        hash = mixed(hash, text_hash(name));
    return hash;
}

// ---- names ----

void CallView::find_handle(HandleKind kind, uint64_t handle) {
    m_owner = m_handles.find(kind, reinterpret_cast<const void *>(handle));  // NOLINT(performance-no-int-to-ptr)
    if (m_owner == nullptr)
        return;
    m_session = m_owner->session;
    m_hosts = &m_owner->hosts;
    m_names[name_server] = m_owner->server;
    m_names[name_lsu] = m_owner->lsu;
    m_names[name_image] = m_owner->image;
}

void CallView::find_server(uint64_t name) {
    m_names[name_server] = text_at(name, longest_name);
    m_own_hosts = {std::string(host_part(m_names[name_server]))};
    m_hosts = &m_own_hosts;
}

void CallView::find_lsu_record() {
    const auto *lsu = pointer<const stsp_lsu_v7_t>(argument(0));
    if (lsu == nullptr)
        return;
    find_handle(handle_server, reinterpret_cast<uint64_t>(lsu->server));
    m_names[name_lsu] = std::string_view(lsu->lsu_name, strnlen(lsu->lsu_name, sizeof lsu->lsu_name));
}

void CallView::find_definition(unsigned number) { m_names[name_image] = text_at(argument(number), STSIMG_NAME_SIZE); }

void CallView::find_names() {
    if (m_is_named)
        return;
    m_is_named = true;
    switch (function()) {
        case fn_stspi_claim:
            find_server(argument(0));
            break;
        case fn_stspi_open_server:
        case fn_stspi_get_server_prop_byname:
            m_session = pointer<const sts_session_def_v7_t>(argument(0));
            find_server(argument(1));
            break;
        case fn_stspi_create_server: {
            m_session = pointer<const sts_session_def_v7_t>(argument(0));
            find_server(argument(1));
            const auto *hosts = pointer<const sts_host_t>(argument(4));
            const auto count = static_cast<int32_t>(argument(5));
            if (hosts != nullptr && count > 0 && count <= most_hosts) {
                m_own_hosts.clear();
                for (int32_t i = 0; i < count; ++i)
                    m_own_hosts.emplace_back(hosts[i].name, strnlen(hosts[i].name, sizeof hosts[i].name));
            }
            break;
        }
        case fn_stspi_open_target_server: {
            find_handle(handle_server, argument(0));
            find_server(argument(1));
            break;
        }
        case fn_stspi_get_server_prop:
        case fn_stspi_close_server:
        case fn_stspi_open_lsu_list:
            find_handle(handle_server, argument(0));
            break;
        case fn_stspi_list_lsu:
        case fn_stspi_close_lsu_list:
            find_handle(handle_lsu_list, argument(0));
            break;
        case fn_stspi_mount_lsu:
            m_names[name_mount_point] = text_at(argument(1), longest_name);
            find_lsu_record();
            break;
        case fn_stspi_open_dynamic_lsu_list:
        case fn_stspi_get_lsu_prop_byname:
        case fn_stspi_open_image_list:
            find_lsu_record();
            break;
        case fn_stspi_create_image:
        case fn_stspi_open_image:
        case fn_stspi_delete_image:
        case fn_stspi_get_image_prop_byname:
            find_lsu_record();
            find_definition(1);
            break;
        case fn_stspi_read_image:
        case fn_stspi_write_image:
        case fn_stspi_get_image_prop:
        case fn_stspi_close_image:
        case fn_stspi_copy_extent:
        case fn_stspi_include_in_image:
            find_handle(handle_image, argument(0));
            break;
        case fn_stspi_list_image:
        case fn_stspi_close_image_list:
            find_handle(handle_image_list, argument(0));
            break;
        default:
            break;
    }
}

// ---- handles that come and go ----

void CallView::note_before() {
    // Out of the map before the call: another thread may get the same address as soon as it is free.
    const auto *handle = reinterpret_cast<const void *>(argument(0));  // NOLINT(performance-no-int-to-ptr)
    find_names();
    switch (function()) {
        case fn_stspi_close_server:
            m_handles.remove(handle_server, handle);
            return;
        case fn_stspi_close_lsu_list:
            m_handles.remove(handle_lsu_list, handle);
            return;
        case fn_stspi_close_image:
            m_handles.remove(handle_image, handle);
            return;
        case fn_stspi_close_image_list:
            m_handles.remove(handle_image_list, handle);
            return;
        default:
            break;
    }
    if (const int out = opened_handle_argument(function()); out >= 0)
        if (const auto *place = pointer<const void *const>(argument(static_cast<unsigned>(out))))
            m_out_before = *place;
}

void CallView::note_after(int32_t status) {
    const int out = opened_handle_argument(function());
    if (out < 0)
        return;
    const auto *place = pointer<const void *const>(argument(static_cast<unsigned>(out)));
    // A call that fails may have stored a handle all the same, or left what was there.
    if (place != nullptr && *place != nullptr && (status == 0 || *place != m_out_before))
        add_opened(*place);
}

void CallView::add_opened(const void *handle) {
    find_names();
    HandleNames names;
    names.session = m_session;
    names.server = m_names[name_server];
    names.lsu = m_names[name_lsu];
    names.image = m_names[name_image];
    if (m_hosts != nullptr)
        names.hosts = *m_hosts;
    HandleKind kind = handle_server;
    switch (function()) {
        case fn_stspi_create_image:
        case fn_stspi_open_image:
            kind = handle_image;
            break;
        case fn_stspi_open_image_list:
            kind = handle_image_list;
            names.list = std::make_shared<ListState>();
            break;
        case fn_stspi_open_lsu_list:
        case fn_stspi_open_dynamic_lsu_list:
            kind = handle_lsu_list;
            names.list = std::make_shared<ListState>();
            break;
        default:
            break;
    }
    m_handles.add(kind, handle, std::move(names));
}

}  // namespace filter
