#include "filter/rules/function_traits.h"

#include <array>
#include <optional>
#include <string_view>

#include "stspi/stsimg.h"
#include "stspi/stspi.h"

namespace filter {

namespace {

constexpr uint32_t server = subject_server | subject_host;
constexpr uint32_t lsu = server | subject_lsu | subject_session;
constexpr uint32_t image = lsu | subject_image;

const journal::EntryPoint &entry_point_of(unsigned function) { return *journal::entry_point(journal_number(function)); }

// A plug-in may hand on more than the image library's functions are documented to take, ioctl's list is open, and nobody says
// what unmounting takes.
bool hands_on_more(unsigned function) {
    switch (function) {
        case fn_stspi_ioctl:
        case fn_stspi_unmount_lsu:
        case fn_stspi_read_image:
        case fn_stspi_write_image:
        case fn_stspi_get_image_prop:
        case fn_stspi_close_image:
        case fn_stspi_list_image:
        case fn_stspi_close_image_list:
            return true;
        default:
            return false;
    }
}

int argument_count(unsigned function) {
    const journal::EntryPoint &entry = entry_point_of(function);
    return entry.fixed_arguments && !hands_on_more(function) ? entry.argument_count : -1;
}

std::array<FunctionTraits, function_count> make_traits() {
    std::array<FunctionTraits, function_count> all = {};
    all[fn_stspi_claim] = {server, 0, 0};
    all[fn_stspi_terminate] = {0, ability_lose, 0};
    all[fn_stspi_unmount_lsu] = {0, ability_lose, 0};
    all[fn_stspi_open_server] = {server | subject_session, 0, 0};
    all[fn_stspi_create_server] = {server | subject_session, 0, 0};
    all[fn_stspi_open_target_server] = {server | subject_session, 0, 0};
    all[fn_stspi_get_server_prop] = {server | subject_session, ability_stale, 0};
    all[fn_stspi_get_server_prop_byname] = {server | subject_session, ability_stale, 0};
    all[fn_stspi_close_server] = {server | subject_session, ability_lose, 0};
    all[fn_stspi_open_lsu_list] = {server | subject_session, 0, 0};
    all[fn_stspi_open_dynamic_lsu_list] = {lsu, 0, 0};
    all[fn_stspi_list_lsu] = {lsu, ability_stale | ability_list, 0};
    all[fn_stspi_close_lsu_list] = {server | subject_session, ability_lose, 0};
    all[fn_stspi_get_lsu_prop_byname] = {lsu, ability_stale, 0};
    all[fn_stspi_mount_lsu] = {lsu | subject_mount_point, ability_stale | ability_lose, 0};
    all[fn_stspi_create_image] = {image, 0, 0};
    all[fn_stspi_open_image] = {image, 0, 0};
    all[fn_stspi_delete_image] = {image, ability_lose, 0};
    all[fn_stspi_open_image_list] = {lsu, 0, 0};
    all[fn_stspi_get_image_prop_byname] = {image, ability_stale, 0};
    constexpr uint32_t moves = ability_short | ability_count;
    all[fn_stspi_read_image] = {image | subject_extent, ability_change_read | ability_stale | moves, 0};
    all[fn_stspi_write_image] = {image | subject_extent, ability_change_written | ability_lose | moves, 0};
    all[fn_stspi_get_image_prop] = {image, ability_stale, 0};
    all[fn_stspi_close_image] = {image, ability_lose, 0};
    all[fn_stspi_list_image] = {image, ability_stale | ability_list, 0};
    all[fn_stspi_close_image_list] = {lsu, ability_lose, 0};
    all[fn_stspi_copy_extent] = {image | subject_extent, ability_lose | moves, 0};
    all[fn_stspi_include_in_image] = {image | subject_extent, ability_lose | ability_short, 0};
    for (unsigned function = 0; function < function_count; ++function)
        all[function].arguments = argument_count(function);
    return all;
}

// The number of the argument for which this is true; -1: none.
template <class Predicate>
int find_argument(unsigned function, Predicate is_it) {
    const journal::EntryPoint &entry = entry_point_of(function);
    for (unsigned number = 0; number < entry.argument_count; ++number)
        if (is_it(entry.arguments[number]))
            return static_cast<int>(number);
    return -1;
}

// Without the "out_" that tells an argument.
std::string plain_name(const char *name) {
    const std::string_view text = name;
    return std::string(text.substr(0, 4) == "out_" ? text.substr(4) : text);
}

void add_record_fields(std::vector<Field> &fields, unsigned argument, const journal::RecordType &record) {
    for (const journal::Field &field : record) {
        const bool is_text = field.type == journal::FieldType::text;
        const bool is_number =
            field.type == journal::FieldType::number || field.type == journal::FieldType::signed_number;
        if (is_text || is_number)
            fields.push_back({field.name, argument, field.offset, field.size, is_text});
    }
}

std::vector<Field> make_fields(unsigned function) {
    const journal::EntryPoint &entry = entry_point_of(function);
    std::vector<Field> fields;
    for (unsigned number = 0; number < entry.argument_count; ++number) {
        const journal::Argument &argument = entry.arguments[number];
        if (argument.kind == journal::ArgumentKind::out_record || argument.kind == journal::ArgumentKind::in_out_record)
            add_record_fields(fields, number, *argument.record);
        else if (argument.kind == journal::ArgumentKind::out_text)
            fields.push_back({plain_name(argument.name), number, 0, argument.text_size, true});
        else if (argument.kind == journal::ArgumentKind::out_number)
            fields.push_back({plain_name(argument.name), number, 0, sizeof(uint64_t), false});
    }
    return fields;
}

std::optional<NameSource> name_source(const journal::Argument &argument) {
    using journal::ArgumentKind;
    const std::string_view name = argument.name;
    const std::string_view record = argument.record != nullptr ? argument.record->name : "";
    switch (argument.kind) {
        case ArgumentKind::handle:
            return NameSource::handle;
        case ArgumentKind::text:
            if (name == "server_name" || name == "target_name")
                return NameSource::server;
            if (name == "mount_point")
                return NameSource::mount_point;
            break;
        case ArgumentKind::record:
            if (record == "session")
                return NameSource::session;
            if (record == "lsu")
                return NameSource::lsu;
            if (record == "image_definition")
                return NameSource::image;
            break;
        case ArgumentKind::records:
            if (record == "host")
                return NameSource::hosts;
            break;
        default:
            break;
    }
    return std::nullopt;
}

std::vector<NamedArgument> make_named_arguments(unsigned function) {
    const journal::EntryPoint &entry = entry_point_of(function);
    std::vector<NamedArgument> named;
    bool has_handle = false;
    for (uint8_t number = 0; number < entry.argument_count; ++number) {
        const journal::Argument &argument = entry.arguments[number];
        const std::optional<NameSource> source = name_source(argument);
        if (!source || (*source == NameSource::handle && has_handle))
            continue;
        has_handle = has_handle || *source == NameSource::handle;
        named.push_back({*source, number, argument.size_argument, argument.handle, argument.ends_handle});
    }
    return named;
}

// Of every function what make gives for it.
template <class Item>
std::array<std::vector<Item>, function_count> for_each_function(std::vector<Item> (*make)(unsigned)) {
    std::array<std::vector<Item>, function_count> all;
    for (unsigned function = 0; function < function_count; ++function)
        all[function] = make(function);
    return all;
}

}  // namespace

const FunctionTraits &traits(unsigned function) {
    static const std::array<FunctionTraits, function_count> all = make_traits();
    return all[function];
}

const std::vector<Field> &fields(unsigned function) {
    static const auto all = for_each_function(make_fields);
    return all[function];
}

const Field *find_field(unsigned function, const std::string &name) {
    for (const Field &field : fields(function))
        if (field.name == name)
            return &field;
    return nullptr;
}

Result result_of(unsigned function) {
    using journal::ArgumentKind;
    if ((traits(function).abilities & ability_stale) == 0)
        return {};
    const int number = find_argument(function, [](const journal::Argument &argument) {
        return argument.kind == ArgumentKind::out_record || argument.kind == ArgumentKind::in_out_record ||
               argument.kind == ArgumentKind::out_text || argument.kind == ArgumentKind::out_data;
    });
    const journal::Argument &argument = entry_point_of(function).arguments[static_cast<unsigned>(number)];
    return {number, argument.record != nullptr ? argument.record->whole_size : argument.text_size};
}

Extent extent_of(unsigned function) {
    if ((traits(function).subjects & subject_extent) == 0)
        return {};
    const auto named = [function](std::string_view first, std::string_view second) {
        return find_argument(function, [&](const journal::Argument &argument) {
            return argument.name == first || argument.name == second;
        });
    };
    const int count = find_argument(
        function, [](const journal::Argument &argument) { return argument.kind == journal::ArgumentKind::out_number; });
    return {named("offset", "target_offset"), named("length", ""), count};
}

OpenedHandle opened_handle(unsigned function) {
    const int number = find_argument(
        function, [](const journal::Argument &argument) { return argument.kind == journal::ArgumentKind::out_handle; });
    if (number < 0)
        return {};
    return {number, entry_point_of(function).arguments[static_cast<unsigned>(number)].handle};
}

const std::vector<NamedArgument> &named_arguments(unsigned function) {
    static const auto all = for_each_function(make_named_arguments);
    return all[function];
}

journal::EntryPointNumber journal_number(unsigned function) {
    static const std::vector<journal::EntryPointNumber> numbers = [] {
        std::vector<journal::EntryPointNumber> all;
        all.reserve(function_count);
        for (const char *name : function_names)
            all.push_back(journal::find_entry_point(name));
        return all;
    }();
    return numbers[function];
}

std::string short_name(unsigned function) {
    static constexpr std::string_view prefix = "stspi_";
    const std::string_view name = function_names[function];
    return std::string(name.substr(0, prefix.size()) == prefix ? name.substr(prefix.size()) : name);
}

}  // namespace filter
