#include "filter/rules/function_traits.h"

#include <array>
#include <string_view>

#include "stspi/stsimg.h"
#include "stspi/stspi.h"

namespace filter {

namespace {

constexpr uint32_t server = subject_server | subject_host;
constexpr uint32_t lsu = server | subject_lsu | subject_session;
constexpr uint32_t image = lsu | subject_image;

std::array<FunctionTraits, function_count> make_traits() {
    std::array<FunctionTraits, function_count> all;
    all.fill({0, 0, -1});
    all[fn_stspi_init] = {0, 0, 3};
    all[fn_stspi_init2] = {0, 0, 2};
    all[fn_load_process] = {0, 0, 2};
    all[fn_stspi_claim] = {server, 0, 1};
    all[fn_stspi_terminate] = {0, ability_lose, 0};
    all[fn_stspi_unmount_lsu] = {0, ability_lose, -1};
    all[fn_stspi_open_server] = {server | subject_session, 0, 5};
    all[fn_stspi_create_server] = {server | subject_session, 0, 7};
    all[fn_stspi_open_target_server] = {server | subject_session, 0, 5};
    all[fn_stspi_get_server_prop] = {server | subject_session, ability_stale, 2};
    all[fn_stspi_get_server_prop_byname] = {server | subject_session, ability_stale, 3};
    all[fn_stspi_close_server] = {server | subject_session, ability_lose, 1};
    all[fn_stspi_open_lsu_list] = {server | subject_session, 0, 3};
    all[fn_stspi_open_dynamic_lsu_list] = {lsu, 0, 2};
    all[fn_stspi_list_lsu] = {lsu, ability_stale | ability_list, 2};
    all[fn_stspi_close_lsu_list] = {server | subject_session, ability_lose, 1};
    all[fn_stspi_get_lsu_prop_byname] = {lsu, ability_stale, 2};
    all[fn_stspi_mount_lsu] = {lsu | subject_mount_point, ability_stale | ability_lose, 5};
    all[fn_stspi_create_image] = {image, 0, 4};
    all[fn_stspi_open_image] = {image, 0, 4};
    all[fn_stspi_delete_image] = {image, ability_lose, 3};
    all[fn_stspi_open_image_list] = {lsu, 0, 3};
    all[fn_stspi_get_image_prop_byname] = {image, ability_stale, 3};
    constexpr uint32_t moves = ability_short | ability_count;
    all[fn_stspi_read_image] = {image | subject_extent, ability_change_read | ability_stale | moves, -1};
    all[fn_stspi_write_image] = {image | subject_extent, ability_change_written | ability_lose | moves, -1};
    all[fn_stspi_get_image_prop] = {image, ability_stale, -1};
    all[fn_stspi_close_image] = {image, ability_lose, -1};
    all[fn_stspi_list_image] = {image, ability_stale | ability_list, -1};
    all[fn_stspi_close_image_list] = {lsu, ability_lose, -1};
    all[fn_stspi_copy_extent] = {image | subject_extent, ability_lose | moves, 7};
    all[fn_stspi_include_in_image] = {image | subject_extent, ability_lose | ability_short, 5};
    return all;
}

#define FIELD(record, member, type) \
    { #member, 0, offsetof(record, member), sizeof(record::member), FieldType::type }

std::vector<Field> at_argument(unsigned argument, std::vector<Field> list) {
    for (Field &field : list)
        field.argument = argument;
    return list;
}

std::vector<Field> lsu_fields() {
    return {FIELD(sts_lsu_info_v9_t, server_name, text),          FIELD(sts_lsu_info_v9_t, lsu_name, text),
            FIELD(sts_lsu_info_v9_t, lsu_class, number32),        FIELD(sts_lsu_info_v9_t, class_qualifier, number32),
            FIELD(sts_lsu_info_v9_t, property_text, text),        FIELD(sts_lsu_info_v9_t, flags, number32),
            FIELD(sts_lsu_info_v9_t, block_size_bytes, number64), FIELD(sts_lsu_info_v9_t, capacity_bytes, number64),
            FIELD(sts_lsu_info_v9_t, used_bytes, number64)};
}

std::vector<Field> server_fields() {
    return {FIELD(sts_server_info_t, server_name, text), FIELD(sts_server_info_t, server_type, number32)};
}

std::vector<Field> image_fields() {
    return {FIELD(sts_image_info, name, text), FIELD(sts_image_info, size_bytes, number64),
            FIELD(sts_image_info, creation_time, number64)};
}

std::vector<Field> registration_fields() {
    return {FIELD(sts_registration_t, api_version, number64),
            FIELD(sts_registration_t, prefix, text),
            FIELD(sts_registration_t, label, text),
            FIELD(sts_registration_t, flag_1, number32),
            FIELD(sts_registration_t, flag_2, number32),
            FIELD(sts_registration_t, version_word_1, number64),
            FIELD(sts_registration_t, version_word_2, number64),
            FIELD(sts_registration_t, version_word_3, number64),
            FIELD(sts_registration_t, byte_flag, number8)};
}

std::vector<Field> make_fields(unsigned function) {
    switch (function) {
        case fn_stspi_init:
            return at_argument(2, registration_fields());
        case fn_stspi_init2:
            return at_argument(1, {FIELD(sts_registration2_t, api_version, number64)});
        case fn_stspi_get_lsu_prop_byname:
            return at_argument(1, lsu_fields());
        case fn_stspi_get_server_prop:
            return at_argument(1, server_fields());
        case fn_stspi_get_server_prop_byname:
            return at_argument(2, server_fields());
        case fn_stspi_get_image_prop:
            return at_argument(1, image_fields());
        case fn_stspi_get_image_prop_byname:
            return at_argument(2, image_fields());
        case fn_stspi_list_lsu:
            return {{"name", 1, 0, STS_LSU_NAME_SIZE, FieldType::text}};
        case fn_stspi_list_image:
            return {{"name", 1, 0, STSIMG_NAME_SIZE, FieldType::text}};
        case fn_stspi_mount_lsu:
            return {{"result", 4, 0, STS_MOUNT_RESULT_SIZE, FieldType::text}};
        case fn_stspi_read_image:
            return {{"bytes_read", 4, 0, 8, FieldType::number64}};
        case fn_stspi_write_image:
            return {{"bytes_written", 5, 0, 8, FieldType::number64}};
        case fn_stspi_copy_extent:
            return {{"bytes_written", 6, 0, 8, FieldType::number64}};
        default:
            return {};
    }
}

}  // namespace

const FunctionTraits &traits(unsigned function) {
    static const std::array<FunctionTraits, function_count> all = make_traits();
    return all[function];
}

const std::vector<Field> &fields(unsigned function) {
    static const std::array<std::vector<Field>, function_count> all = [] {
        std::array<std::vector<Field>, function_count> made;
        for (unsigned number = 0; number < function_count; ++number)
            made[number] = make_fields(number);
        return made;
    }();
    return all[function];
}

const Field *find_field(unsigned function, const std::string &name) {
    for (const Field &field : fields(function))
        if (field.name == name)
            return &field;
    return nullptr;
}

Result result_of(unsigned function) {
    switch (function) {
        case fn_stspi_get_lsu_prop_byname:
            return {1, sizeof(sts_lsu_info_v9_t)};
        case fn_stspi_get_server_prop:
            return {1, sizeof(sts_server_info_t)};
        case fn_stspi_get_server_prop_byname:
            return {2, sizeof(sts_server_info_t)};
        case fn_stspi_get_image_prop:
            return {1, sizeof(sts_image_info)};
        case fn_stspi_get_image_prop_byname:
            return {2, sizeof(sts_image_info)};
        case fn_stspi_list_lsu:
            return {1, STS_LSU_NAME_SIZE};
        case fn_stspi_list_image:
            return {1, STSIMG_NAME_SIZE};
        case fn_stspi_mount_lsu:
            return {4, STS_MOUNT_RESULT_SIZE};
        case fn_stspi_read_image:
            return {1, 0};
        default:
            return {};
    }
}

std::string short_name(unsigned function) {
    static constexpr std::string_view prefix = "stspi_";
    const std::string_view name = function_names[function];
    return std::string(name.substr(0, prefix.size()) == prefix ? name.substr(prefix.size()) : name);
}

}  // namespace filter
