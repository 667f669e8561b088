// Lists of LSUs, their properties, and mounts.
#include <fmt/format.h>

#include <cstddef>

#include "conformance/model/model.h"
#include "conformance/model/reached.h"
#include "conformance/model/record.h"
#include "stspi/stspi.h"

namespace conformance::model {

namespace {

constexpr size_t message_buffer = 1024;

// An LSU's name as it stands in its field.
std::string lsu_name(const Call &call) { return call.name.value_or("").substr(0, STS_LSU_NAME_SIZE); }

Record info_of(const Expected &expected) {
    Record record(sizeof(sts_lsu_info_v9_t), 0);
    std::memcpy(const_cast<char *>(record.bytes().data()), expected.record.data(), expected.record.size());
    return record;
}

void put_names(Record &record, const std::string &server, const std::string &lsu) {
    record.put_text(offsetof(sts_lsu_info_v9_t, server_name), STS_SERVER_NAME_SIZE, server);
    record.put_text(offsetof(sts_lsu_info_v9_t, lsu_name), STS_LSU_NAME_SIZE, lsu);
}

void put_class(Record &record, uint32_t lsu_class) {
    record.put(offsetof(sts_lsu_info_v9_t, lsu_class), lsu_class);
    record.put(offsetof(sts_lsu_info_v9_t, class_qualifier), uint32_t{1});
    record.put(offsetof(sts_lsu_info_v9_t, flags), uint32_t{STS_LSU_FLAG_STANDARD});
}

void put_properties(Record &record, const std::string &text) {
    record.put_text(offsetof(sts_lsu_info_v9_t, property_text), STS_PROPERTY_TEXT_SIZE, text);
}

std::string joined(const std::vector<std::string> &names) {
    std::string text;
    for (const std::string &name : names) {
        text += name;
        text += ",";
    }
    return text.substr(0, text.empty() ? 0 : text.size() - 1);
}

}  // namespace

void Model::open_lsu_list(const Call &call, Expected &expected) {
    if (call.handle == 0 || call.null_out) {
        reached("open list: null argument");
        expected.any_messages = call.handle != 0;
        expected.status = STS_E_INVALID_PARAMETER;
        return;
    }
    const Server &on = *server(call.handle);
    const Bracket bracket(*this, on.session, "stspi_open_lsu_list", expected);
    expected.stored = Stored::handle;
    List &list = lists_[call.id];
    list = {};
    list.server = call.handle;
    if (on.disk_array && on.kind != Server::multi_host) {
        reached("open list: disk array without hosts");
        error(on.session, "For ZEPH plugins list of hosts is expected for getPoolLSUList", expected);
        list.failed = true;
        expected.status = STS_E_INVALID_PARAMETER;
    } else if (on.disk_array) {
        reached("open list: pools");
        list.names = on.disk_array->pools_of(on.hosts);
    } else if (on.copan) {
        reached("open list: Copan array");
        list.names = on.copan->lsus();
    } else {
        reached("open list: no server");
        list.failed = true;
        expected.status = STS_E_INTERNAL;
    }
}

void Model::open_dynamic_lsu_list(const Call &call, Expected &expected) {
    if (call.null_record || call.handle == 0 || call.null_out) {
        reached("open volumes: null argument");
        expected.any_messages = !call.null_record && call.handle != 0;
        expected.status = STS_E_INVALID_PARAMETER;
        return;
    }
    const Server &on = *server(call.handle);
    if (!on.disk_array) {
        reached("open volumes: no disk array");
        error(on.session, "open_dynamic_lsu_list is not supported for non-ZEPH storages", expected);
        expected.status = STS_E_INVALID_PARAMETER;
        return;
    }
    expected.stored = Stored::handle;
    List &list = lists_[call.id];
    list = {};
    list.server = call.handle;
    const Pool *pool = on.disk_array->pool(lsu_name(call));
    if (pool == nullptr) {
        reached("open volumes: unknown pool");
        list.failed = true;
        list.is_traced = false;
        expected.status = STS_E_NO_SERVER;
        return;
    }
    reached("open volumes: pool");
    for (const std::string &disk : pool->disks)
        list.names.push_back(on.disk_array->identifier(disk));
}

void Model::list_lsu(const Call &call, Expected &expected) {
    Record name(STS_LSU_NAME_SIZE, call.fill);
    expected.record = name.bytes();
    if (call.handle == 0 || call.null_out) {
        reached("list: null argument");
        expected.any_messages = call.handle != 0;
        expected.status = STS_E_INVALID_PARAMETER;
        return;
    }
    List &list = lists_.at(call.handle);
    // Whether a list that knows no server is traced is left open.
    expected.any_messages = !list.is_traced;
    const Bracket bracket(*this, server(list.server)->session, "stspi_list_lsu", expected);
    if (list.failed) {
        reached("list: opening had failed");
        expected.status = STS_E_INVALID_PARAMETER;
    } else if (list.cursor == list.names.size()) {
        reached("list: end");
        expected.status = STS_E_NO_MORE_ENTRIES;
    } else {
        reached("list: name");
        name.put_text(0, STS_LSU_NAME_SIZE, list.names[list.cursor++]);
        expected.record = name.bytes();
    }
}

void Model::close_lsu_list(const Call &call, Expected &expected) {
    if (call.handle == 0) {
        reached("close list: null handle");
        expected.status = STS_E_INVALID_PARAMETER;
        return;
    }
    const List &list = lists_.at(call.handle);
    reached("close list");
    expected.any_messages = !list.is_traced;
    { const Bracket bracket(*this, server(list.server)->session, "stspi_close_lsu_list", expected); }
    lists_.erase(call.handle);
}

void Model::lsu_prop(const Call &call, Expected &expected) {
    Record before(sizeof(sts_lsu_info_v9_t), call.fill);
    expected.record = before.bytes();
    if (call.null_record || call.handle == 0) {
        reached("LSU properties: null argument");
        expected.status = STS_E_INVALID_PARAMETER;
        return;
    }
    const Server &asked = *server(call.handle);
    const Bracket bracket(*this, asked.session, "stspi_get_lsu_prop_byname", expected);
    if (call.null_out) {
        reached("LSU properties: null record");
        error(asked.session, "STS: No memory allocated for lsuInfo", expected);
        expected.status = STS_E_INVALID_PARAMETER;
        return;
    }
    const std::string name = lsu_name(call);
    if (asked.disk_array && starts_with(name, "/")) {
        path_prop(name, asked, expected);
        return;
    }
    before.clear();
    expected.record = before.bytes();
    if (asked.copan) {
        copan_prop(name, asked, expected);
    } else if (!asked.disk_array) {
        reached("LSU properties: no server");
        expected.any_messages = true;
        expected.any_record = true;
        expected.status = STS_E_NO_SERVER;
    } else if (name.find(':') != std::string::npos) {
        disk_prop(name, asked, expected);
    } else {
        pool_prop(name, asked, expected);
    }
}

void Model::path_prop(const std::string &path, const Server &asked, Expected &expected) {
    Record record = info_of(expected);
    record.put_text(offsetof(sts_lsu_info_v9_t, server_name), STS_SERVER_NAME_SIZE, asked.host_name);
    record.put(offsetof(sts_lsu_info_v9_t, block_size_bytes), uint64_t{512});
    if (machine_.ask_sizes(path) != 0) {
        reached("LSU properties: path that cannot be asked");
        error(asked.session, "Error calling statvfs, LSU name is: ", expected);
        error(asked.session, path, expected);
        expected.status = STS_E_SYSTEM;
    } else {
        reached("LSU properties: path");
        record.put(offsetof(sts_lsu_info_v9_t, lsu_class), uint32_t{STS_LSU_CLASS_PATH});
        record.set_bits(offsetof(sts_lsu_info_v9_t, flags), STS_LSU_FLAG_PATH);
        expected.sizes_of = path;
    }
    expected.record = record.bytes();
}

void Model::copan_prop(const std::string &name, const Server &asked, Expected &expected) {
    if (name.empty()) {
        reached("LSU properties: Copan LSU without a name");
        expected.status = STS_E_INVALID_PARAMETER;
        return;
    }
    const auto path = asked.copan->directory_of(
        machine_, name, [&](const std::string &text) { say(simulators_.copan, text, expected); });
    if (!path) {
        expected.status = STS_E_INVALID_PARAMETER;
        return;
    }
    for (const std::string &text : {std::string("The generated mount path is: "), *path,
                                    std::string("Copied version: "), cut(*path, STS_LSU_NAME_SIZE)})
        trace(asked.session, text, expected);
    path_prop(cut(*path, STS_LSU_NAME_SIZE), asked, expected);
    if (expected.status != 0)
        return;
    if (!asked.copan->has(name)) {
        reached("LSU properties: unknown Copan LSU");
        error(asked.session, name, expected);
        expected.status = STS_E_NO_SERVER;
        return;
    }
    reached("LSU properties: Copan LSU");
    Record record = info_of(expected);
    put_names(record, asked.copan->name(), name);
    expected.record = record.bytes();
}

void Model::disk_prop(const std::string &name, const Server &asked, Expected &expected) {
    if (name.front() == ':') {
        reached("LSU properties: leading colon");
        expected.status = STS_E_INVALID_PARAMETER;
        return;
    }
    std::string disk;
    const Pool *pool = asked.disk_array->pool_of_disk(after_colon(name), disk);
    if (pool == nullptr) {
        reached("LSU properties: unknown disk");
        error(asked.session, cut(name + " not found", message_buffer), expected);
        expected.status = STS_E_NO_SERVER;
        return;
    }
    reached("LSU properties: disk");
    // A disk is a volume of its own size, half of which is free.
    const uint64_t size = pool->disk_size;
    const uint64_t free_space = size / 2;
    Record record = info_of(expected);
    put_names(record, machine_.array_name(), disk);
    put_class(record, STS_LSU_CLASS_DYNAMIC);
    record.put(offsetof(sts_lsu_info_v9_t, capacity_bytes), size);
    record.put(offsetof(sts_lsu_info_v9_t, used_bytes), size - free_space);
    put_properties(record, fmt::format("ID={};FreeSpace={};FSSize={}", asked.disk_array->identifier(disk),
                                       static_cast<int64_t>(free_space), static_cast<int64_t>(size)));
    expected.record = record.bytes();
}

void Model::pool_prop(const std::string &name, const Server &asked, Expected &expected) {
    const Pool *pool = asked.disk_array->pool(name);
    if (pool == nullptr || !pool->hosts) {
        reached(pool == nullptr ? "LSU properties: unknown pool" : "LSU properties: pool without hosts");
        expected.status = pool == nullptr ? STS_E_NO_SERVER : STS_E_NOT_FOUND;
        return;
    }
    reached("LSU properties: pool");
    const size_t disks = pool->disks.size();
    Record record = info_of(expected);
    put_names(record, machine_.array_name(), name);
    put_class(record, STS_LSU_CLASS_POOL);
    record.put(offsetof(sts_lsu_info_v9_t, capacity_bytes), static_cast<uint64_t>(disks) * pool->disk_size);
    put_properties(record, fmt::format("VolumeCount={};StorelCount={};Hosts={}", disks, disks, joined(*pool->hosts)));
    expected.record = record.bytes();
}

void Model::mount_lsu(const Call &call, Expected &expected) {
    Record result(STS_MOUNT_RESULT_SIZE, call.fill);
    expected.record = result.bytes();
    expected.status = STS_E_INVALID_PARAMETER;
    const auto mode = static_cast<uint32_t>(call.numbers[0]);
    if (mode == 0 || call.null_record || call.handle == 0) {
        reached("mount: refused");
        return;
    }
    const Server &on = *server(call.handle);
    if (!call.text || call.null_out) {
        reached("mount: null argument");
        expected.any_messages = true;
        return;
    }
    const Bracket bracket(*this, on.session, "stspi_mount_lsu", expected);
    const std::string name = lsu_name(call);
    if (starts_with(name, ":") || !on.disk_array) {
        reached(on.disk_array ? "mount: leading colon" : "mount: no disk array");
        return;
    }
    // A name without a colon is both the pool and the volume.
    const int outcome = on.disk_array->mount(machine_, before_colon(name), after_colon(name), *call.text,
                                             [&](const std::string &text) { say(simulators_.array, text, expected); });
    expected.status = outcome == 0 ? 0 : STS_E_SYSTEM;
    if (outcome == 0)
        result.put_text(0, STS_MOUNT_RESULT_SIZE, fmt::format("{},{}", name, *call.text));
    expected.record = result.bytes();
}

}  // namespace conformance::model
