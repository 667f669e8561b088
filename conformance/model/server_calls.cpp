// Registration, servers, and what is told about servers.
#include <algorithm>
#include <cstddef>

#include "conformance/model/command.h"
#include "conformance/model/model.h"
#include "conformance/model/reached.h"
#include "conformance/model/record.h"
#include "stspi/stspi.h"

namespace conformance::model {

namespace {

constexpr char array_prefix[] = "Kelvarpool:";

// Cut at the first NUL, as the plug-in reads it.
std::vector<std::string> host_names(const Call &call, int32_t count) {
    std::vector<std::string> names;
    names.reserve(call.hosts.size());
    for (int32_t i = 0; i < count; ++i)
        names.push_back(call.hosts[static_cast<size_t>(i)].substr(0, STS_HOST_RECORD_SIZE - 1));
    return names;
}

// The name becomes part of a path, where several slashes are one.
std::string file_of(const std::string &name) {
    const std::string prefix = before_colon(name);
    return prefix.substr(std::min(prefix.find_first_not_of('/'), prefix.size()));
}

struct Bits {
    size_t offset;
    uint32_t bits;
};
constexpr Bits common_bits[] = {{1040, 0x10040100}, {1044, 0x00010040}, {1048, 0x01000010}, {1052, 0x00401004},
                                {1056, 0x40000401}, {1060, 0x10040100}, {1064, 0x04010040}, {1068, 0x00004010},
                                {1076, 0x40000000}, {1088, 0x01000000}, {1176, 0x00000400}};
constexpr Bits array_bits[] = {
    {1164, 0x04000000}, {1168, 0x00004010}, {1172, 0x00001004}, {1176, 0x80100000}, {1180, 0x00000100}};

template <size_t Count>
void set_bits(Record &record, const Bits (&words)[Count]) {
    for (const Bits &word : words)
        record.set_bits(word.offset, word.bits);
}

void put_server_name(Record &record, const std::string &name) { record.put_text(0, STS_SERVER_NAME_SIZE, name); }

}  // namespace

bool Model::is_claimed(const std::optional<std::string> &name) const {
    return name && !name->empty() && files_.count(file_of(*name)) != 0;
}

void Model::init(const Call &call, Expected &expected) {
    Record record(sizeof(sts_registration_t), call.fill);
    if (call.numbers[0] < 7) {
        reached("init: too old");
        expected.status = STS_E_VERSION;
    } else {
        reached("init: registered");
        record.put(offsetof(sts_registration_t, api_version), uint64_t{9});
        record.put(offsetof(sts_registration_t, entry_points), machine_.first_table());
        record.put_text(offsetof(sts_registration_t, prefix), STS_REGISTRATION_TEXT_SIZE, array_prefix);
        record.put_text(offsetof(sts_registration_t, label), STS_REGISTRATION_TEXT_SIZE, "Simulation Plugin");
        record.put(offsetof(sts_registration_t, flag_1), uint32_t{1});
        record.put(offsetof(sts_registration_t, flag_2), uint32_t{1});
        for (const size_t offset :
             {offsetof(sts_registration_t, version_word_1), offsetof(sts_registration_t, version_word_2),
              offsetof(sts_registration_t, version_word_3)})
            record.put(offset, uint64_t{9});
        record.put(offsetof(sts_registration_t, byte_flag), uint8_t{0});
        expected.library.push_back({"stsimg_init", {{{Word::number, 9}}}});
        expected.status = call.library_status;
    }
    expected.record = record.bytes();
}

void Model::init2(const Call &call, Expected &expected) {
    Record record(sizeof(sts_registration2_t), call.fill);
    if (call.numbers[0] < 9) {
        reached("init2: too old");
        expected.status = STS_E_VERSION;
    } else {
        reached("init2: registered");
        record.put(offsetof(sts_registration2_t, api_version), uint64_t{9});
        record.put(offsetof(sts_registration2_t, entry_points), machine_.second_table());
    }
    expected.record = record.bytes();
}

std::shared_ptr<DiskArray> Model::read_disk_array(const std::string &name, Expected &expected) {
    auto array = std::make_shared<DiskArray>(files_.at(file_of(name)));
    expected.output += array->output();
    if (array->quiet_output() != array->output())
        expected.other_output = array->quiet_output();
    return array;
}

// Reads a Copan array into the server; sends what a failure sends.
bool Model::open_copan(const Call &call, Server &server, Expected &expected) {
    const auto array = CopanArray::read(*call.name, files_.at(file_of(*call.name)), expected.output);
    if (!array) {
        error(server.session, *call.name, expected);
        error(server.session, "StorageServer not found", expected);
        expected.status = STS_E_INTERNAL;
        return false;
    }
    copan_lsus_made_ += array->lsus().size();
    server.copan = std::make_shared<CopanArray>(*array);
    return true;
}

void Model::open_server(const Call &call, Expected &expected) {
    const Bracket bracket(*this, call.session, "stspi_open_server", expected);
    if (call.null_out) {
        reached("open: null out");
        expected.status = STS_E_INVALID_PARAMETER;
        return;
    }
    expected.stored = Stored::handle;
    Server &server = servers_[call.id];
    server.session = call.session;
    if (call.name)
        trace(call.session, *call.name, expected);
    expected.any_messages = !call.name;
    if (!is_claimed(call.name)) {
        reached("open: not claimed");
        expected.status = STS_E_INTERNAL;
        return;
    }
    const std::string host = after_colon(*call.name);
    if (host.empty()) {
        reached("open: null host");
        error(call.session, "NULL HOST", expected);
        server.kind = Server::null_host;
        return;
    }
    server.host_name = cut(host, STS_SERVER_NAME_SIZE);
    if (starts_with(*call.name, array_prefix)) {
        reached("open: disk array");
        trace(call.session, "KELVARPOOL ", expected);
        server.disk_array = read_disk_array(*call.name, expected);
        simulators_.array = call.session;
    } else {
        trace(call.session, "STS-DYNAMIC ", expected);
        if (open_copan(call, server, expected)) {
            reached("open: Copan array");
            simulators_.copan = call.session;
        } else {
            reached("open: unknown Copan array");
        }
    }
}

void Model::create_server(const Call &call, Expected &expected) {
    const Bracket bracket(*this, call.session, "stspi_create_server", expected);
    const auto count = static_cast<int32_t>(static_cast<uint32_t>(call.numbers[0]));
    if (call.null_out || (call.null_record && count > 0)) {
        reached(call.null_out ? "create: null out" : "create: null hosts");
        expected.any_messages = !call.null_out;
        expected.status = STS_E_INVALID_PARAMETER;
        return;
    }
    expected.stored = Stored::handle;
    Server &server = servers_[call.id];
    server.session = call.session;
    server.kind = count != 0 ? Server::multi_host : Server::single_host;
    trace(call.session, count != 0 ? "Multi Host handle" : "Single Host handle", expected);
    if (!is_claimed(call.name)) {
        reached("create: not claimed");
        expected.status = STS_E_INTERNAL;
        return;
    }
    if (after_colon(*call.name).empty()) {
        reached("create: null host");
        server.kind = Server::null_host;
        return;
    }
    if (!starts_with(*call.name, array_prefix)) {
        reached("create: not a disk array");
        error(call.session, "create_server should not be called by non-ZEPH storages", expected);
        expected.status = STS_E_INTERNAL;
        return;
    }
    reached(count > 0 ? "create: hosts" : count < 0 ? "create: negative count" : "create: no hosts");
    server.hosts = host_names(call, count);
    server.disk_array = read_disk_array(*call.name, expected);
}

void Model::open_target_server(const Call &call, Expected &expected) {
    if (call.handle == 0) {
        expected.status = STS_E_INVALID_PARAMETER;
        return;
    }
    const int session = server(call.handle)->session;
    const Bracket bracket(*this, session, "stspi_open_target_server", expected);
    if (!call.name || call.null_out) {
        reached("target: null argument");
        expected.status = STS_E_INVALID_PARAMETER;
        return;
    }
    expected.stored = Stored::handle;
    expected.status = STS_E_INTERNAL;
    if (!is_claimed(call.name)) {
        reached("target: not claimed");
        servers_[call.id].session = session;
        return;
    }
    const std::string host = after_colon(*call.name);
    const bool is_disk_array = starts_with(*call.name, array_prefix);
    if (host.empty() || is_disk_array) {
        reached(host.empty() ? "target: null host" : "target: disk array");
        error(session,
              host.empty() ? "NULL server handle not supported for target server"
                           : "target server not yet implemented for Kelvarpool ",
              expected);
        expected.stored = Stored::freed;
        return;
    }
    Server &target = servers_[call.id];
    target.session = session;
    target.host_name = cut(host, STS_SERVER_NAME_SIZE);
    // The simulators' session stays that of the latest stspi_open_server.
    expected.status = 0;
    reached(open_copan(call, target, expected) ? "target: Copan array" : "target: unknown Copan array");
}

void Model::close_server(const Call &call, Expected &expected) {
    if (call.handle == 0) {
        reached("close: null handle");
        expected.status = STS_E_INVALID_PARAMETER;
        return;
    }
    { const Bracket bracket(*this, server(call.handle)->session, "stspi_close_server", expected); }
    servers_.erase(call.handle);
    for (auto list = lists_.begin(); list != lists_.end();) {
        const bool hangs_on_it = list->second.server == call.handle;
        if (hangs_on_it)
            reached("close: with a list open");
        list = hangs_on_it ? lists_.erase(list) : std::next(list);
    }
    reached("close: server");
}

void Model::server_prop(const Call &call, Expected &expected) {
    Record record(sizeof(sts_server_info_t), call.fill);
    expected.record = record.bytes();
    if (call.handle == 0 || call.null_record) {
        reached("server properties: null argument");
        expected.status = STS_E_INVALID_PARAMETER;
        return;
    }
    const Server &asked = *server(call.handle);
    { const Bracket bracket(*this, asked.session, "stspi_get_server_prop", expected); }
    set_bits(record, common_bits);
    if (asked.disk_array) {
        reached("server properties: disk array");
        set_bits(record, array_bits);
        put_server_name(record, machine_.array_name());
    } else if (asked.copan) {
        reached("server properties: Copan array");
        record.put(offsetof(sts_server_info_t, server_type), uint32_t{STS_SERVER_TYPE_COPAN});
        put_server_name(record, asked.copan->name());
    } else {
        reached("server properties: no server");
        expected.status = STS_E_INVALID_PARAMETER;
    }
    expected.record = record.bytes();
}

void Model::server_prop_by_name(const Call &call, Expected &expected) {
    Record record(sizeof(sts_server_info_t), call.fill);
    expected.record = record.bytes();
    if (call.session == NULL_SESSION || call.null_record) {
        reached("server properties by name: null argument");
        expected.status = STS_E_INVALID_PARAMETER;
        return;
    }
    const Bracket bracket(*this, call.session, "stspi_get_server_prop_byname", expected);
    if (!is_claimed(call.name)) {
        reached("server properties by name: not claimed");
        expected.status = STS_E_INVALID_PARAMETER;
        return;
    }
    set_bits(record, common_bits);
    if (starts_with(*call.name, array_prefix)) {
        // The file is not read: the name is the host's, not the machine's.
        reached("server properties by name: disk array");
        set_bits(record, array_bits);
        put_server_name(record, after_colon(*call.name));
    } else {
        record.put(offsetof(sts_server_info_t, server_type), uint32_t{STS_SERVER_TYPE_COPAN});
        const auto array = CopanArray::read(*call.name, files_.at(file_of(*call.name)), expected.output);
        if (array) {
            reached("server properties by name: Copan array");
            copan_lsus_made_ += array->lsus().size();
            put_server_name(record, array->name());
        } else {
            reached("server properties by name: unknown Copan array");
            error(call.session, "StorageServer not found", expected);
            expected.status = STS_E_INTERNAL;
        }
    }
    expected.record = record.bytes();
}

void Model::load_process(const Call &call, Expected &expected) {
    reached("load_process");
    for (const Command &command : commands())
        if (call.name == command.program && call.text == command.argument) {
            expected.status = command.status;
            expected.output = command.output;
        }
}

}  // namespace conformance::model
