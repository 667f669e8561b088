#include "journal/entry_points.h"

#include "stspi/stsimg.h"

namespace journal {

namespace {

#define FIELD(record, field, type) \
    Field { #field, offsetof(record, field), sizeof(record::field), FieldType::type, HandleKind::none }

template <class Record, size_t Count>
constexpr RecordType record_type(const char *name, const std::array<Field, Count> &fields) {
    size_t size = 0;
    for (const Field &field : fields)
        size = field.offset + field.size > size ? field.offset + field.size : size;
    return {name, size, sizeof(Record), fields.data(), Count};
}

constexpr std::array session_fields = {FIELD(sts_session_def_v7_t, log_context, address),
                                       FIELD(sts_session_def_v7_t, log_function, address),
                                       FIELD(sts_session_def_v7_t, log_mask, number)};
constexpr RecordType session_record = record_type<sts_session_def_v7_t>("session", session_fields);

constexpr std::array registration_fields = {
    FIELD(sts_registration_t, api_version, number),    FIELD(sts_registration_t, entry_points, address),
    FIELD(sts_registration_t, prefix, text),           FIELD(sts_registration_t, label, text),
    FIELD(sts_registration_t, flag_1, number),         FIELD(sts_registration_t, flag_2, number),
    FIELD(sts_registration_t, version_word_1, number), FIELD(sts_registration_t, version_word_2, number),
    FIELD(sts_registration_t, version_word_3, number), FIELD(sts_registration_t, byte_flag, number)};
constexpr RecordType registration_record = record_type<sts_registration_t>("registration", registration_fields);

constexpr std::array registration2_fields = {FIELD(sts_registration2_t, api_version, number),
                                             FIELD(sts_registration2_t, entry_points, address)};
constexpr RecordType registration2_record = record_type<sts_registration2_t>("registration2", registration2_fields);

constexpr std::array host_fields = {FIELD(sts_host_t, name, text)};
constexpr RecordType host_record = record_type<sts_host_t>("host", host_fields);

constexpr std::array server_info_fields = {FIELD(sts_server_info_t, server_name, text),
                                           FIELD(sts_server_info_t, server_type, number),
                                           FIELD(sts_server_info_t, capabilities, words)};
constexpr RecordType server_info_record = record_type<sts_server_info_t>("server_info", server_info_fields);

constexpr size_t handle_size = sizeof(sts_server_handle_t);  // NOLINT(bugprone-sizeof-expression): of the pointer

constexpr std::array lsu_fields = {
    Field{"server", offsetof(stsp_lsu_v7_t, server), handle_size, FieldType::handle, HandleKind::server},
    FIELD(stsp_lsu_v7_t, lsu_name, text)};
constexpr RecordType lsu_record = record_type<stsp_lsu_v7_t>("lsu", lsu_fields);

constexpr std::array lsu_info_fields = {
    FIELD(sts_lsu_info_v9_t, server_name, text),        FIELD(sts_lsu_info_v9_t, lsu_name, text),
    FIELD(sts_lsu_info_v9_t, lsu_class, number),        FIELD(sts_lsu_info_v9_t, class_qualifier, number),
    FIELD(sts_lsu_info_v9_t, property_text, text),      FIELD(sts_lsu_info_v9_t, flags, number),
    FIELD(sts_lsu_info_v9_t, block_size_bytes, number), FIELD(sts_lsu_info_v9_t, capacity_bytes, number),
    FIELD(sts_lsu_info_v9_t, used_bytes, number)};
constexpr RecordType lsu_info_record = record_type<sts_lsu_info_v9_t>("lsu_info", lsu_info_fields);

// The two image records are the image library's own: these are the substitute library's.
constexpr std::array image_definition_fields = {FIELD(sts_image_definition, name, text)};
constexpr RecordType image_definition_record =
    record_type<sts_image_definition>("image_definition", image_definition_fields);

constexpr std::array image_info_fields = {FIELD(sts_image_info, name, text), FIELD(sts_image_info, size_bytes, number),
                                          FIELD(sts_image_info, creation_time, signed_number)};
constexpr RecordType image_info_record = record_type<sts_image_info>("image_info", image_info_fields);

#undef FIELD

constexpr Argument plain(const char *name, ArgumentKind kind) {
    return {name, kind, HandleKind::none, nullptr, 0, 0, 0, false};
}
constexpr Argument ignored(const char *name) { return plain(name, ArgumentKind::ignored); }
constexpr Argument number(const char *name) { return plain(name, ArgumentKind::number); }
constexpr Argument number32(const char *name) { return plain(name, ArgumentKind::number32); }
constexpr Argument signed32(const char *name) { return plain(name, ArgumentKind::signed32); }
constexpr Argument text(const char *name) { return plain(name, ArgumentKind::text); }
constexpr Argument out_number(const char *name) { return plain(name, ArgumentKind::out_number); }
constexpr Argument out_text(const char *name, uint16_t size) {
    return {name, ArgumentKind::out_text, HandleKind::none, nullptr, 0, 0, size, false};
}
constexpr Argument handle(const char *name, HandleKind kind) {
    return {name, ArgumentKind::handle, kind, nullptr, 0, 0, 0, false};
}
constexpr Argument ended(const char *name, HandleKind kind) {
    return {name, ArgumentKind::handle, kind, nullptr, 0, 0, 0, true};
}
constexpr Argument out_handle(const char *name, HandleKind kind) {
    return {name, ArgumentKind::out_handle, kind, nullptr, 0, 0, 0, false};
}
constexpr Argument in_record(const char *name, const RecordType &type) {
    return {name, ArgumentKind::record, HandleKind::none, &type, 0, 0, 0, false};
}
constexpr Argument records(const char *name, const RecordType &type, uint8_t count_in) {
    return {name, ArgumentKind::records, HandleKind::none, &type, count_in, 0, 0, false};
}
constexpr Argument out_record(const char *name, const RecordType &type) {
    return {name, ArgumentKind::out_record, HandleKind::none, &type, 0, 0, 0, false};
}
constexpr Argument in_out_record(const char *name, const RecordType &type) {
    return {name, ArgumentKind::in_out_record, HandleKind::none, &type, 0, 0, 0, false};
}
constexpr Argument data(const char *name, uint8_t size_in) {
    return {name, ArgumentKind::data, HandleKind::none, nullptr, size_in, 0, 0, false};
}
constexpr Argument out_data(const char *name, uint8_t size_in, uint8_t count_in) {
    return {name, ArgumentKind::out_data, HandleKind::none, nullptr, size_in, count_in, 0, false};
}

using EntryPoints = std::array<EntryPoint, ENTRY_POINT_NUMBERS>;

template <typename... Arguments>
constexpr EntryPoint describe(const char *name, Table table, unsigned slot, bool fixed, Arguments... arguments) {
    return {name, table, static_cast<uint8_t>(slot), fixed, sizeof...(arguments), {{arguments...}}};
}

template <typename... Arguments>
constexpr void first(EntryPoints &all, const char *name, unsigned slot, Arguments... arguments) {
    all[first_table_entry(slot)] = describe(name, Table::first, slot, true, arguments...);
}

template <typename... Arguments>
constexpr void second(EntryPoints &all, const char *name, unsigned slot, Arguments... arguments) {
    all[second_table_entry(slot)] = describe(name, Table::second, slot, true, arguments...);
}

constexpr void first_unknown(EntryPoints &all, const char *name, unsigned slot) {
    all[first_table_entry(slot)] = describe(name, Table::first, slot, false);
}

constexpr void second_unknown(EntryPoints &all, const char *name, unsigned slot) {
    all[second_table_entry(slot)] = describe(name, Table::second, slot, false);
}

constexpr void describe_servers(EntryPoints &all) {
    first(all, "stspi_claim", STS_SLOT_CLAIM, text("server_name"));
    first(all, "stspi_terminate", STS_SLOT_TERMINATE);
    first(all, "stspi_ioctl", STS_SLOT_IOCTL, ignored("handle"), signed32("command"));
    first(all, "stspi_open_server", STS_SLOT_OPEN_SERVER, in_record("session", session_record), text("server_name"),
          ignored("ignored_1"), ignored("ignored_2"), out_handle("out_handle", HandleKind::server));
    second(all, "stspi_create_server", STS_SLOT2_CREATE_SERVER, in_record("session", session_record),
           text("server_name"), ignored("ignored_1"), ignored("ignored_2"), records("hosts", host_record, 5),
           signed32("host_count"), out_handle("out_handle", HandleKind::server));
    first(all, "stspi_open_target_server", STS_SLOT_OPEN_TARGET_SERVER, handle("source", HandleKind::server),
          text("target_name"), ignored("ignored_1"), ignored("ignored_2"),
          out_handle("out_handle", HandleKind::server));
    first(all, "stspi_get_server_prop", STS_SLOT_GET_SERVER_PROP, handle("handle", HandleKind::server),
          in_out_record("info", server_info_record));
    first(all, "stspi_get_server_prop_byname", STS_SLOT_GET_SERVER_PROP_BYNAME, in_record("session", session_record),
          text("server_name"), in_out_record("info", server_info_record));
    first(all, "stspi_close_server", STS_SLOT_CLOSE_SERVER, ended("handle", HandleKind::server));
}

constexpr void describe_lsus(EntryPoints &all) {
    first(all, "stspi_open_lsu_list", STS_SLOT_OPEN_LSU_LIST, handle("handle", HandleKind::server), ignored("ignored"),
          out_handle("out_list", HandleKind::lsu_list));
    second(all, "stspi_open_dynamic_lsu_list", STS_SLOT2_OPEN_DYNAMIC_LSU_LIST, in_record("lsu", lsu_record),
           out_handle("out_list", HandleKind::lsu_list));
    first(all, "stspi_list_lsu", STS_SLOT_LIST_LSU, handle("list", HandleKind::lsu_list),
          out_text("out_name", STS_LSU_NAME_SIZE));
    first(all, "stspi_close_lsu_list", STS_SLOT_CLOSE_LSU_LIST, ended("list", HandleKind::lsu_list));
    first(all, "stspi_get_lsu_prop_byname", STS_SLOT_GET_LSU_PROP_BYNAME, in_record("lsu", lsu_record),
          in_out_record("info", lsu_info_record));
    second(all, "stspi_mount_lsu", STS_SLOT2_MOUNT_LSU, in_record("lsu", lsu_record), text("mount_point"),
           number32("mode"), number("reserved"), out_text("out_result", STS_MOUNT_RESULT_SIZE));
    second(all, "stspi_unmount_lsu", STS_SLOT2_UNMOUNT_LSU);
}

constexpr void describe_images(EntryPoints &all) {
    first(all, "stspi_create_image", STS_SLOT_CREATE_IMAGE, in_record("lsu", lsu_record),
          in_record("definition", image_definition_record), number32("flags"),
          out_handle("out_image", HandleKind::image));
    first(all, "stspi_open_image", STS_SLOT_OPEN_IMAGE, in_record("lsu", lsu_record),
          in_record("definition", image_definition_record), number32("mode"),
          out_handle("out_image", HandleKind::image));
    first(all, "stspi_delete_image", STS_SLOT_DELETE_IMAGE, in_record("lsu", lsu_record),
          in_record("definition", image_definition_record), number32("flags"));
    first(all, "stspi_open_image_list", STS_SLOT_OPEN_IMAGE_LIST, in_record("lsu", lsu_record), number32("flags"),
          out_handle("out_list", HandleKind::image_list));
    first(all, "stspi_get_image_prop_byname", STS_SLOT_GET_IMAGE_PROP_BYNAME, in_record("lsu", lsu_record),
          in_record("definition", image_definition_record), out_record("out_info", image_info_record));
    first(all, "stspi_read_image", STS_SLOT_READ_IMAGE, handle("image", HandleKind::image), out_data("buffer", 2, 4),
          number("length"), number("offset"), out_number("out_bytes_read"));
    first(all, "stspi_write_image", STS_SLOT_WRITE_IMAGE, handle("image", HandleKind::image), ignored("reserved"),
          data("buffer", 3), number("length"), number("offset"), out_number("out_bytes_written"));
    first(all, "stspi_get_image_prop", STS_SLOT_GET_IMAGE_PROP, handle("image", HandleKind::image),
          out_record("out_info", image_info_record));
    first(all, "stspi_close_image", STS_SLOT_CLOSE_IMAGE, ended("image", HandleKind::image));
    first(all, "stspi_list_image", STS_SLOT_LIST_IMAGE, handle("list", HandleKind::image_list),
          out_record("out_definition", image_definition_record));
    first(all, "stspi_close_image_list", STS_SLOT_CLOSE_IMAGE_LIST, ended("list", HandleKind::image_list));
    first(all, "stspi_copy_extent", STS_SLOT_COPY_EXTENT, handle("target", HandleKind::image), number("target_offset"),
          handle("source", HandleKind::image), number("source_offset"), number("length"), ignored("ignored"),
          out_number("out_bytes_written"));
    first(all, "stspi_include_in_image", STS_SLOT_INCLUDE_IN_IMAGE, handle("target", HandleKind::image),
          number("target_offset"), handle("source", HandleKind::image), number("source_offset"), number("length"));
}

constexpr void describe_unsupported(EntryPoints &all) {
    first_unknown(all, "stspi_async_flush", STS_SLOT_ASYNC_FLUSH);
    first_unknown(all, "stspi_async_read_image", STS_SLOT_ASYNC_READ_IMAGE);
    first_unknown(all, "stspi_async_wait", STS_SLOT_ASYNC_WAIT);
    first_unknown(all, "stspi_async_write_image", STS_SLOT_ASYNC_WRITE_IMAGE);
    first_unknown(all, "stspi_close_evchannel", STS_SLOT_CLOSE_EVCHANNEL);
    first_unknown(all, "stspi_delete_event", STS_SLOT_DELETE_EVENT);
    first_unknown(all, "stspi_delete_files", STS_SLOT_DELETE_FILES);
    first_unknown(all, "stspi_get_image_group", STS_SLOT_GET_IMAGE_GROUP);
    first_unknown(all, "stspi_get_image_group_byname", STS_SLOT_GET_IMAGE_GROUP_BYNAME);
    first_unknown(all, "stspi_open_evchannel", STS_SLOT_OPEN_EVCHANNEL);
    first_unknown(all, "stspi_open_image_group_list", STS_SLOT_OPEN_IMAGE_GROUP_LIST);
    second_unknown(all, "stspi_activate_lsu", STS_SLOT2_ACTIVATE_LSU);
    second_unknown(all, "stspi_add_pool_lsu", STS_SLOT2_ADD_POOL_LSU);
    second_unknown(all, "stspi_alloc_lsu", STS_SLOT2_ALLOC_LSU);
    second_unknown(all, "stspi_close_lsu", STS_SLOT2_CLOSE_LSU);
    second_unknown(all, "stspi_create_lsu", STS_SLOT2_CREATE_LSU);
    second_unknown(all, "stspi_create_lsu_with_storel", STS_SLOT2_CREATE_LSU_WITH_STOREL);
    second_unknown(all, "stspi_create_lsu_with_pool", STS_SLOT2_CREATE_LSU_WITH_POOL);
    second_unknown(all, "stspi_dealloc_lsu", STS_SLOT2_DEALLOC_LSU);
    second_unknown(all, "stspi_delete_lsu", STS_SLOT2_DELETE_LSU);
    second_unknown(all, "stspi_extract_files", STS_SLOT2_EXTRACT_FILES);
    second_unknown(all, "stspi_get_host", STS_SLOT2_GET_HOST);
    second_unknown(all, "stspi_get_lsu_prop", STS_SLOT2_GET_LSU_PROP);
    second_unknown(all, "stspi_get_pool_lsu", STS_SLOT2_GET_POOL_LSU);
    second_unknown(all, "stspi_get_storel", STS_SLOT2_GET_STOREL);
    second_unknown(all, "stspi_get_storel_prop", STS_SLOT2_GET_STOREL_PROP);
    second_unknown(all, "stspi_open_lsu", STS_SLOT2_OPEN_LSU);
    second_unknown(all, "stspi_remove_pool_lsu", STS_SLOT2_REMOVE_POOL_LSU);
    second_unknown(all, "stspi_shutdown_server", STS_SLOT2_SHUTDOWN_SERVER);
}

constexpr EntryPoints describe_all() {
    EntryPoints all = {};
    describe_servers(all);
    describe_lsus(all);
    describe_images(all);
    describe_unsupported(all);
    all[ENTRY_POINT_INIT] = describe("stspi_init", Table::none, 0, true, number("api_version"), ignored("ignored"),
                                     out_record("registration", registration_record));
    all[ENTRY_POINT_INIT2] = describe("stspi_init2", Table::none, 0, true, number("api_version"),
                                      out_record("registration", registration2_record));
    all[ENTRY_POINT_LOAD_PROCESS] = describe("load_process", Table::none, 0, true, text("program"), text("argument"));
    return all;
}

constexpr EntryPoints all_entry_points = describe_all();

}  // namespace

const char *handle_kind_name(HandleKind kind) {
    switch (kind) {
        case HandleKind::server:
            return "server";
        case HandleKind::lsu_list:
            return "lsu_list";
        case HandleKind::image:
            return "image";
        case HandleKind::image_list:
            return "image_list";
        case HandleKind::none:
            break;
    }
    return "";
}

const EntryPoint *entry_point(unsigned number) {
    return number < all_entry_points.size() && all_entry_points[number].name != nullptr ? &all_entry_points[number]
                                                                                        : nullptr;
}

EntryPointNumber find_entry_point(std::string_view name) {
    EntryPointNumber number = 0;
    while (number < ENTRY_POINT_NUMBERS && (entry_point(number) == nullptr || name != entry_point(number)->name))
        ++number;
    return number;
}

}  // namespace journal
