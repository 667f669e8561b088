#include "filter/call_view.h"

#include "filter/caller_memory.h"
#include "filter/ledger/text_hash.h"
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

// As it is: a handle need not be an address.
const void *handle_of(uint64_t argument) {
    return reinterpret_cast<const void *>(argument);  // NOLINT(performance-no-int-to-ptr)
}

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

void CallView::find_names() {
    if (m_is_named)
        return;
    m_is_named = true;
    for (const NamedArgument &named : named_arguments(function()))
        find_name(named);
}

void CallView::find_name(const NamedArgument &named) {
    const uint64_t value = argument(named.argument);
    switch (named.source) {
        case NameSource::handle:
            find_handle(named.kind, value);
            break;
        case NameSource::session:
            m_session = pointer<const sts_session_def_v7_t>(value);
            break;
        case NameSource::server:
            find_server(value);
            break;
        case NameSource::hosts:
            find_hosts(value, static_cast<int32_t>(argument(named.count_argument)));
            break;
        case NameSource::lsu:
            find_lsu(value);
            break;
        case NameSource::image:
            m_names[name_image] = text_at(value, STSIMG_NAME_SIZE);
            break;
        case NameSource::mount_point:
            m_names[name_mount_point] = text_at(value, longest_name);
            break;
    }
}

void CallView::find_handle(journal::HandleKind kind, uint64_t handle) {
    m_owner = m_handles.find(kind, handle_of(handle));
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

// In place of the host in the server's name.
void CallView::find_hosts(uint64_t hosts, int32_t count) {
    const auto *records = pointer<const sts_host_t>(hosts);
    if (records == nullptr || count <= 0 || count > most_hosts)
        return;
    m_own_hosts.clear();
    for (int32_t i = 0; i < count; ++i)
        m_own_hosts.emplace_back(records[i].name, strnlen(records[i].name, sizeof records[i].name));
}

void CallView::find_lsu(uint64_t record) {
    const auto *lsu = pointer<const stsp_lsu_v7_t>(record);
    if (lsu == nullptr)
        return;
    find_handle(journal::HandleKind::server, reinterpret_cast<uint64_t>(lsu->server));
    m_names[name_lsu] = std::string_view(lsu->lsu_name, strnlen(lsu->lsu_name, sizeof lsu->lsu_name));
}

// ---- handles that come and go ----

void CallView::note_before() {
    find_names();
    // Out of the map before the call: another thread may get the same address as soon as it is free.
    for (const NamedArgument &named : named_arguments(function()))
        if (named.ends_handle)
            m_handles.remove(named.kind, handle_of(argument(named.argument)));
    if (const int out = opened_handle(function()).argument; out >= 0)
        if (const auto *place = pointer<const void *const>(argument(static_cast<unsigned>(out))))
            m_out_before = *place;
}

void CallView::note_after(int32_t status) {
    const OpenedHandle opened = opened_handle(function());
    if (opened.argument < 0)
        return;
    const auto *place = pointer<const void *const>(argument(static_cast<unsigned>(opened.argument)));
    // A call that fails may have stored a handle all the same, or left what was there.
    if (place != nullptr && *place != nullptr && (status == 0 || *place != m_out_before))
        add_opened(*place, opened.kind);
}

void CallView::add_opened(const void *handle, journal::HandleKind kind) {
    find_names();
    HandleNames names;
    names.session = m_session;
    names.server = m_names[name_server];
    names.lsu = m_names[name_lsu];
    names.image = m_names[name_image];
    if (m_hosts != nullptr)
        names.hosts = *m_hosts;
    if (kind == journal::HandleKind::lsu_list || kind == journal::HandleKind::image_list)
        names.list = std::make_shared<ListState>();
    m_handles.add(kind, handle, std::move(names));
}

}  // namespace filter
