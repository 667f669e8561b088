#include "conformance/calls/entry_points.h"

#include <fmt/format.h>

#include <deque>

#include "conformance/calls/call_journal.h"
#include "conformance/watch/call_watch.h"
#include "conformance/watch/expect.h"
#include "conformance/watch/out_handle.h"
#include "conformance/watch/resource_registry.h"

namespace conformance {

namespace {

// An address of the first page, which is never mapped.
const void *const unreadable = reinterpret_cast<const void *>(0x111);  // NOLINT(performance-no-int-to-ptr)

std::string show(uint64_t value) { return value < 1000 ? std::to_string(value) : fmt::format("0x{:x}", value); }
std::string show(uint32_t value) { return show(uint64_t{value}); }
// Commands and counts: headers tell some of them in one way, some in the other.
std::string show(int32_t value) {
    return value >= 0 && value < 10 ? std::to_string(value)
                                    : fmt::format("{} (0x{:x})", value, static_cast<uint32_t>(value));
}
std::string show(const char *text) { return quoted_or_null(text); }
std::string show(char *buffer) { return buffer == nullptr ? "null" : "buffer"; }
std::string show(const void *pointer) { return pointer == nullptr ? "null" : fmt::format("{}", pointer); }
std::string show(const stsp_lsu_v7_t *lsu) {
    if (lsu == nullptr)
        return "null";
    return fmt::format("{{{}, {}}}", lsu->server == nullptr ? "null" : "handle",
                       quoted_bytes(std::string(lsu->lsu_name, strnlen(lsu->lsu_name, sizeof lsu->lsu_name)), 80));
}

// As a register holds it.
uint64_t as_word(const void *pointer) { return reinterpret_cast<uint64_t>(pointer); }
uint64_t as_word(uint64_t number) { return number; }
uint64_t as_word(uint32_t number) { return number; }
uint64_t as_word(int32_t number) { return static_cast<uint32_t>(number); }

constexpr size_t most_words = 16;
std::unique_ptr<EntryPoints> under_test;

}  // namespace

const std::vector<SlotName> &first_table() {
    static const std::vector<SlotName> slots = {{STS_SLOT_ASYNC_FLUSH, "stspi_async_flush"},
                                                {STS_SLOT_ASYNC_READ_IMAGE, "stspi_async_read_image"},
                                                {STS_SLOT_ASYNC_WAIT, "stspi_async_wait"},
                                                {STS_SLOT_ASYNC_WRITE_IMAGE, "stspi_async_write_image"},
                                                {STS_SLOT_CLAIM, "stspi_claim"},
                                                {STS_SLOT_CLOSE_EVCHANNEL, "stspi_close_evchannel"},
                                                {STS_SLOT_CLOSE_IMAGE, "stspi_close_image"},
                                                {STS_SLOT_CLOSE_IMAGE_LIST, "stspi_close_image_list"},
                                                {STS_SLOT_CLOSE_LSU_LIST, "stspi_close_lsu_list"},
                                                {STS_SLOT_CLOSE_SERVER, "stspi_close_server"},
                                                {STS_SLOT_COPY_EXTENT, "stspi_copy_extent"},
                                                {STS_SLOT_CREATE_IMAGE, "stspi_create_image"},
                                                {STS_SLOT_DELETE_EVENT, "stspi_delete_event"},
                                                {STS_SLOT_DELETE_FILES, "stspi_delete_files"},
                                                {STS_SLOT_DELETE_IMAGE, "stspi_delete_image"},
                                                {15, nullptr},
                                                {STS_SLOT_GET_IMAGE_GROUP, "stspi_get_image_group"},
                                                {STS_SLOT_GET_IMAGE_GROUP_BYNAME, "stspi_get_image_group_byname"},
                                                {STS_SLOT_GET_IMAGE_PROP, "stspi_get_image_prop"},
                                                {STS_SLOT_GET_IMAGE_PROP_BYNAME, "stspi_get_image_prop_byname"},
                                                {STS_SLOT_GET_LSU_PROP_BYNAME, "stspi_get_lsu_prop_byname"},
                                                {STS_SLOT_GET_SERVER_PROP, "stspi_get_server_prop"},
                                                {STS_SLOT_GET_SERVER_PROP_BYNAME, "stspi_get_server_prop_byname"},
                                                {STS_SLOT_INCLUDE_IN_IMAGE, "stspi_include_in_image"},
                                                {STS_SLOT_IOCTL, "stspi_ioctl"},
                                                {STS_SLOT_LIST_IMAGE, "stspi_list_image"},
                                                {STS_SLOT_LIST_LSU, "stspi_list_lsu"},
                                                {STS_SLOT_OPEN_EVCHANNEL, "stspi_open_evchannel"},
                                                {STS_SLOT_OPEN_LSU_LIST, "stspi_open_lsu_list"},
                                                {STS_SLOT_OPEN_SERVER, "stspi_open_server"},
                                                {STS_SLOT_OPEN_TARGET_SERVER, "stspi_open_target_server"},
                                                {STS_SLOT_OPEN_IMAGE, "stspi_open_image"},
                                                {STS_SLOT_OPEN_IMAGE_GROUP_LIST, "stspi_open_image_group_list"},
                                                {STS_SLOT_OPEN_IMAGE_LIST, "stspi_open_image_list"},
                                                {STS_SLOT_READ_IMAGE, "stspi_read_image"},
                                                {STS_SLOT_TERMINATE, "stspi_terminate"},
                                                {STS_SLOT_WRITE_IMAGE, "stspi_write_image"},
                                                {37, nullptr},
                                                {38, nullptr},
                                                {39, nullptr},
                                                {40, nullptr}};
    return slots;
}

const std::vector<SlotName> &second_table() {
    static const std::vector<SlotName> slots = {{STS_SLOT2_ACTIVATE_LSU, "stspi_activate_lsu"},
                                                {STS_SLOT2_ADD_POOL_LSU, "stspi_add_pool_lsu"},
                                                {STS_SLOT2_ALLOC_LSU, "stspi_alloc_lsu"},
                                                {STS_SLOT2_CLOSE_LSU, "stspi_close_lsu"},
                                                {STS_SLOT2_CREATE_LSU, "stspi_create_lsu"},
                                                {STS_SLOT2_CREATE_LSU_WITH_STOREL, "stspi_create_lsu_with_storel"},
                                                {STS_SLOT2_CREATE_LSU_WITH_POOL, "stspi_create_lsu_with_pool"},
                                                {STS_SLOT2_CREATE_SERVER, "stspi_create_server"},
                                                {STS_SLOT2_DEALLOC_LSU, "stspi_dealloc_lsu"},
                                                {STS_SLOT2_DELETE_LSU, "stspi_delete_lsu"},
                                                {STS_SLOT2_EXTRACT_FILES, "stspi_extract_files"},
                                                {STS_SLOT2_GET_HOST, "stspi_get_host"},
                                                {STS_SLOT2_GET_LSU_PROP, "stspi_get_lsu_prop"},
                                                {STS_SLOT2_GET_POOL_LSU, "stspi_get_pool_lsu"},
                                                {STS_SLOT2_GET_STOREL, "stspi_get_storel"},
                                                {STS_SLOT2_GET_STOREL_PROP, "stspi_get_storel_prop"},
                                                {STS_SLOT2_MOUNT_LSU, "stspi_mount_lsu"},
                                                {STS_SLOT2_OPEN_DYNAMIC_LSU_LIST, "stspi_open_dynamic_lsu_list"},
                                                {STS_SLOT2_OPEN_LSU, "stspi_open_lsu"},
                                                {STS_SLOT2_REMOVE_POOL_LSU, "stspi_remove_pool_lsu"},
                                                {STS_SLOT2_SHUTDOWN_SERVER, "stspi_shutdown_server"},
                                                {STS_SLOT2_UNMOUNT_LSU, "stspi_unmount_lsu"}};
    return slots;
}

const std::vector<std::string> &not_supported_entry_points() {
    static const std::vector<std::string> names = {"stspi_async_flush",
                                                   "stspi_async_read_image",
                                                   "stspi_async_wait",
                                                   "stspi_async_write_image",
                                                   "stspi_close_evchannel",
                                                   "stspi_delete_event",
                                                   "stspi_delete_files",
                                                   "stspi_get_image_group",
                                                   "stspi_get_image_group_byname",
                                                   "stspi_open_evchannel",
                                                   "stspi_open_image_group_list",
                                                   "stspi_activate_lsu",
                                                   "stspi_add_pool_lsu",
                                                   "stspi_alloc_lsu",
                                                   "stspi_close_lsu",
                                                   "stspi_create_lsu",
                                                   "stspi_create_lsu_with_storel",
                                                   "stspi_create_lsu_with_pool",
                                                   "stspi_dealloc_lsu",
                                                   "stspi_delete_lsu",
                                                   "stspi_extract_files",
                                                   "stspi_get_host",
                                                   "stspi_get_lsu_prop",
                                                   "stspi_get_pool_lsu",
                                                   "stspi_get_storel",
                                                   "stspi_get_storel_prop",
                                                   "stspi_open_lsu",
                                                   "stspi_remove_pool_lsu",
                                                   "stspi_shutdown_server"};
    return names;
}

std::vector<std::string> exported_names() {
    std::vector<std::string> names = {"STSSANDiskEntryPoints2", "STSSanDiskEntryPoints", "load_process", "stspi_init",
                                      "stspi_init2"};
    for (const auto *table : {&first_table(), &second_table()})
        for (const SlotName &slot : *table)
            if (slot.entry_point != nullptr)
                names.emplace_back(slot.entry_point);
    return names;
}

EntryPoints::EntryPoints(const std::string &path, int mode)
    : path_(path), library_(std::make_unique<PluginLibrary>(path, mode)), ignored_(unreadable) {}

void EntryPoints::use_tables(const sts_entry_point_t *first, const sts_entry_point_t *second) {
    for (const SlotName &slot : first_table())
        if (slot.entry_point != nullptr)
            from_tables_[slot.entry_point] = reinterpret_cast<void *>(first[slot.slot]);
    for (const SlotName &slot : second_table())
        from_tables_[slot.entry_point] = reinterpret_cast<void *>(second[slot.slot]);
}

void *EntryPoints::address(const std::string &entry_point) const {
    const auto slot = from_tables_.find(entry_point);
    void *found = slot != from_tables_.end() ? slot->second : library_->symbol(entry_point);
    require_true(found != nullptr, entry_point, "an entry point", "nothing of that name");
    return found;
}

template <typename Function, typename... Arguments>
int32_t EntryPoints::call(const char *entry_point, Arguments... arguments) {
    auto *function = reinterpret_cast<Function *>(address(entry_point));
    std::string shown;
    ((shown += (shown.empty() ? "" : ", ") + show(arguments)), ...);
    const std::string text = fmt::format("{}({})", entry_point, shown);
    const std::array<uint64_t, most_words> words = {as_word(arguments)...};
    JournalledCall journalled(entry_point, words.data());
    const CallNote note(text);
    const CallWatch watch(text);
    const int32_t status = function(arguments...);
    CallNote::returned(status);
    journalled.returns(status);
    return status;
}

void EntryPoints::registered(sts_server_handle_t *out) {
    if (out != nullptr && *out != nullptr)
        register_resource(*out, "server handle", [this, handle = *out] { close_server(handle); });
}

void EntryPoints::registered(sts_lsu_list_handle_t *out) {
    if (out != nullptr && *out != nullptr)
        register_resource(*out, "LSU list", [this, list = *out] { close_lsu_list(list); });
}

int32_t EntryPoints::raw(const std::string &entry_point, const std::array<uint64_t, 6> &r) {
    // Ten nulls behind them, on the stack at last: an argument beyond the sixth must be something, too.
    using Word = uint64_t;
    using Words =
        int32_t(Word, Word, Word, Word, Word, Word, Word, Word, Word, Word, Word, Word, Word, Word, Word, Word);
    constexpr Word null = 0;
    return call<Words>(entry_point.c_str(), r[0], r[1], r[2], r[3], r[4], r[5], null, null, null, null, null, null,
                       null, null, null, null);
}

int32_t EntryPoints::init(uint64_t version, const void *ignored, sts_registration_t *registration) {
    return call<decltype(stspi_init)>("stspi_init", version, ignored, registration);
}

int32_t EntryPoints::init2(uint64_t version, sts_registration2_t *registration) {
    return call<decltype(stspi_init2)>("stspi_init2", version, registration);
}

int32_t EntryPoints::claim(const char *name) { return call<decltype(stspi_claim)>("stspi_claim", name); }

int32_t EntryPoints::terminate() { return call<decltype(stspi_terminate)>("stspi_terminate"); }

int32_t EntryPoints::ioctl(const void *handle, int32_t command) {
    return call<decltype(stspi_ioctl)>("stspi_ioctl", handle, command);
}

int32_t EntryPoints::open_server(const sts_session_def_v7_t *session, const char *name, sts_server_handle_t *out) {
    OutHandle stored(out);
    const int32_t status =
        call<decltype(stspi_open_server)>("stspi_open_server", session, name, ignored_, ignored_, stored.pointer());
    stored.hand_over();
    registered(out);
    return status;
}

int32_t EntryPoints::create_server(const sts_session_def_v7_t *session, const char *name, const sts_host_t *hosts,
                                   int32_t count, sts_server_handle_t *out) {
    OutHandle stored(out);
    const int32_t status = call<decltype(stspi_create_server)>("stspi_create_server", session, name, ignored_, ignored_,
                                                               hosts, count, stored.pointer());
    stored.hand_over();
    registered(out);
    return status;
}

int32_t EntryPoints::open_target_server(sts_server_handle_t source, const char *name, sts_server_handle_t *out) {
    OutHandle stored(out);
    const int32_t status = call<decltype(stspi_open_target_server)>("stspi_open_target_server", source, name, ignored_,
                                                                    ignored_, stored.pointer());
    stored.hand_over();
    // After some failures the stored address is that of a freed handle.
    if (status == 0)
        registered(out);
    return status;
}

int32_t EntryPoints::close_server(sts_server_handle_t handle) {
    forget_resource(handle);
    return call<decltype(stspi_close_server)>("stspi_close_server", handle);
}

int32_t EntryPoints::open_lsu_list(sts_server_handle_t handle, sts_lsu_list_handle_t *out) {
    OutHandle stored(out);
    const int32_t status =
        call<decltype(stspi_open_lsu_list)>("stspi_open_lsu_list", handle, ignored_, stored.pointer());
    stored.hand_over();
    registered(out);
    return status;
}

int32_t EntryPoints::open_dynamic_lsu_list(const stsp_lsu_v7_t *lsu, sts_lsu_list_handle_t *out) {
    OutHandle stored(out);
    const int32_t status =
        call<decltype(stspi_open_dynamic_lsu_list)>("stspi_open_dynamic_lsu_list", lsu, stored.pointer());
    stored.hand_over();
    registered(out);
    return status;
}

int32_t EntryPoints::list_lsu(sts_lsu_list_handle_t list, char *out_name) {
    return call<decltype(stspi_list_lsu)>("stspi_list_lsu", list, out_name);
}

int32_t EntryPoints::close_lsu_list(sts_lsu_list_handle_t list) {
    forget_resource(list);
    return call<decltype(stspi_close_lsu_list)>("stspi_close_lsu_list", list);
}

int32_t EntryPoints::get_server_prop(sts_server_handle_t handle, sts_server_info_t *info) {
    return call<decltype(stspi_get_server_prop)>("stspi_get_server_prop", handle, info);
}

int32_t EntryPoints::get_server_prop_byname(const sts_session_def_v7_t *session, const char *name,
                                            sts_server_info_t *info) {
    return call<decltype(stspi_get_server_prop_byname)>("stspi_get_server_prop_byname", session, name, info);
}

int32_t EntryPoints::get_lsu_prop_byname(const stsp_lsu_v7_t *lsu, sts_lsu_info_v9_t *info) {
    return call<decltype(stspi_get_lsu_prop_byname)>("stspi_get_lsu_prop_byname", lsu, info);
}

int32_t EntryPoints::mount_lsu(const stsp_lsu_v7_t *lsu, const char *mount_point, uint32_t mode, char *out_result) {
    return call<decltype(stspi_mount_lsu)>("stspi_mount_lsu", lsu, mount_point, mode, uint64_t{0xfedcba9876543210},
                                           out_result);
}

int32_t EntryPoints::unmount_lsu() { return call<decltype(stspi_unmount_lsu)>("stspi_unmount_lsu"); }

int32_t EntryPoints::create_image(const stsp_lsu_v7_t *lsu, const sts_image_definition_t *definition, uint32_t flags,
                                  sts_image_handle_t *out) {
    return call<decltype(stspi_create_image)>("stspi_create_image", lsu, definition, flags, out);
}

int32_t EntryPoints::open_image(const stsp_lsu_v7_t *lsu, const sts_image_definition_t *definition, uint32_t mode,
                                sts_image_handle_t *out) {
    return call<decltype(stspi_open_image)>("stspi_open_image", lsu, definition, mode, out);
}

int32_t EntryPoints::delete_image(const stsp_lsu_v7_t *lsu, const sts_image_definition_t *definition, uint32_t flags) {
    return call<decltype(stspi_delete_image)>("stspi_delete_image", lsu, definition, flags);
}

int32_t EntryPoints::open_image_list(const stsp_lsu_v7_t *lsu, uint32_t flags, sts_image_list_handle_t *out) {
    return call<decltype(stspi_open_image_list)>("stspi_open_image_list", lsu, flags, out);
}

int32_t EntryPoints::get_image_prop_byname(const stsp_lsu_v7_t *lsu, const sts_image_definition_t *definition,
                                           sts_image_info_t *out) {
    return call<decltype(stspi_get_image_prop_byname)>("stspi_get_image_prop_byname", lsu, definition, out);
}

int32_t EntryPoints::copy_extent(sts_image_handle_t target, uint64_t target_offset, sts_image_handle_t source,
                                 uint64_t source_offset, uint64_t length, const void *ignored, uint64_t *out_written) {
    return call<decltype(stspi_copy_extent)>("stspi_copy_extent", target, target_offset, source, source_offset, length,
                                             ignored, out_written);
}

int32_t EntryPoints::include_in_image(sts_image_handle_t target, uint64_t target_offset, sts_image_handle_t source,
                                      uint64_t source_offset, uint64_t length) {
    return call<decltype(stspi_include_in_image)>("stspi_include_in_image", target, target_offset, source,
                                                  source_offset, length);
}

int32_t EntryPoints::load_process(const char *program, const char *argument) {
    return call<decltype(::load_process)>("load_process", program, argument);
}

EntryPoints &plugin() { return *under_test; }

void set_plugin(std::unique_ptr<EntryPoints> loaded) { under_test = std::move(loaded); }

sts_server_handle_t open_server(Session &session, const std::string &name) {
    sts_server_handle_t handle = nullptr;
    require_status(plugin().open_server(session.pointer(), name.c_str(), &handle), 0);
    require_true(handle != nullptr, "stored handle", "a handle", "null");
    return handle;
}

std::vector<sts_host_t> host_records(const std::vector<std::string> &hosts) {
    std::vector<sts_host_t> records(hosts.size());
    for (size_t i = 0; i < hosts.size(); ++i) {
        std::memset(&records[i], 'h', sizeof records[i]);
        put_text(records[i].name, hosts[i]);
    }
    return records;
}

sts_server_handle_t create_server(Session &session, const std::string &name, const std::vector<std::string> &hosts) {
    sts_server_handle_t handle = nullptr;
    const auto records = host_records(hosts);
    require_status(plugin().create_server(session.pointer(), name.c_str(), records.data(),
                                          static_cast<int32_t>(records.size()), &handle),
                   0);
    require_true(handle != nullptr, "stored handle", "a handle", "null");
    return handle;
}

std::vector<std::string> names_of(sts_lsu_list_handle_t list) {
    std::vector<std::string> names;
    for (;;) {
        const GuardedMemory name(STS_LSU_NAME_SIZE);
        const int32_t status = plugin().list_lsu(list, static_cast<char *>(name.data()));
        if (status == STS_E_NO_MORE_ENTRIES)
            return names;
        require_status(status, 0);
        names.emplace_back(static_cast<char *>(name.data()), strnlen(static_cast<char *>(name.data()), name.size()));
        require_true(names.size() < 100000, "list", "an end", "100000 names");
    }
}

std::vector<std::string> list_lsus(sts_server_handle_t handle) {
    sts_lsu_list_handle_t list = nullptr;
    require_status(plugin().open_lsu_list(handle, &list), 0);
    auto names = names_of(list);
    expect_status(plugin().close_lsu_list(list), 0);
    return names;
}

std::vector<std::string> list_volumes(sts_server_handle_t handle, const std::string &pool) {
    sts_lsu_list_handle_t list = nullptr;
    require_status(plugin().open_dynamic_lsu_list(lsu(handle, pool), &list), 0);
    auto names = names_of(list);
    expect_status(plugin().close_lsu_list(list), 0);
    return names;
}

const stsp_lsu_v7_t *lsu(sts_server_handle_t handle, const std::string &name) {
    static std::deque<GuardedMemory> records;
    auto *record = static_cast<stsp_lsu_v7_t *>(records.emplace_back(sizeof(stsp_lsu_v7_t), 'x').data());
    record->server = handle;
    put_text(record->lsu_name, name);
    return record;
}

}  // namespace conformance
