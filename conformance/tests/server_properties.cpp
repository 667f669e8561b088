// stspi_get_server_prop and stspi_get_server_prop_byname.
#include <sys/utsname.h>

#include "conformance/calls/configuration.h"
#include "conformance/calls/entry_points.h"
#include "conformance/report/test_case.h"
#include "conformance/tests/long_host.h"
#include "conformance/watch/expect.h"
#include "conformance/watch/standard_output.h"

namespace conformance {

namespace {

constexpr char by_handle[] = "stspi_get_server_prop";
constexpr char by_name[] = "stspi_get_server_prop_byname";
constexpr int patterns[] = {0x00, 0xff, 0x5a, 0xa5};

uint32_t &word(sts_server_info_t &info, size_t offset) {
    return info.capabilities[(offset - offsetof(sts_server_info_t, capabilities)) / sizeof(uint32_t)];
}

void set_common(sts_server_info_t &info) {
    word(info, 1040) |= 0x10040100;
    word(info, 1044) |= 0x00010040;
    word(info, 1048) |= 0x01000010;
    word(info, 1052) |= 0x00401004;
    word(info, 1056) |= 0x40000401;
    word(info, 1060) |= 0x10040100;
    word(info, 1064) |= 0x04010040;
    word(info, 1068) |= 0x00004010;
    word(info, 1076) |= 0x40000000;
    word(info, 1088) |= 0x01000000;
    word(info, 1176) |= 0x00000400;
}

void set_disk_array(sts_server_info_t &info) {
    set_common(info);
    word(info, 1164) |= 0x04000000;
    word(info, 1168) |= 0x00004010;
    word(info, 1172) |= 0x00001004;
    word(info, 1176) |= 0x80100000;
    word(info, 1180) |= 0x00000100;
}

void set_copan(sts_server_info_t &info) {
    set_common(info);
    info.server_type = STS_SERVER_TYPE_COPAN;
}

// The record after a call must be as before it but for change; tried over several contents of the record.
template <typename Change>
void expect_record(int32_t status, const std::function<int32_t(sts_server_info_t *)> &call, Change change) {
    for (const int pattern : patterns) {
        Watched<sts_server_info_t> info(static_cast<unsigned char>(pattern));
        expect_status(call(info.get()), status);
        info.expect_changed("server information", change);
    }
}

void unchanged(sts_server_info_t &) {}

// By name, a host part that fits its field is told, and a longer one cut or refused.
void expect_long_name(const std::string &prefix, const std::string &host,
                      void (*set_capabilities)(sts_server_info_t &)) {
    const GuardedText name(prefix + host);
    for (const int pattern : patterns) {
        Watched<sts_server_info_t> info(static_cast<unsigned char>(pattern));
        const int32_t status = plugin().get_server_prop_byname(new_session().pointer(), name.get(), info.get());
        if (is_refused_long_host(host, status))
            return;
        expect_status(status, 0);
        info.expect_changed("server information", [&](sts_server_info_t &expected) {
            set_capabilities(expected);
            put_text(expected.server_name, host);
        });
    }
}

// The simulated host's name is this machine's name and a domain of the plug-in's own.
std::string node_name_and_dot() {
    utsname name;
    uname(&name);
    return std::string(name.nodename) + ".";
}

}  // namespace

CONFORMANCE_TEST("server-props.by-handle.disk-array",
                 "A disk-array handle sets exactly its capability bits, by OR, and the name; not the server type.") {
    write_example_configs();
    const auto opened = open_server(new_session(), "Kelvarpool:nodeA");
    const auto created = create_server(new_session(), "Kelvarpool:nodeA", {"h1"});
    std::string name;
    for (const auto handle : {opened, created})
        for (const int pattern : patterns) {
            Watched<sts_server_info_t> info(static_cast<unsigned char>(pattern));
            require_status(plugin().get_server_prop(handle, info.get()), 0);
            name = info->server_name;
            expect_text("begin of the server name", name.substr(0, node_name_and_dot().size()), node_name_and_dot());
            expect_true(name.size() > node_name_and_dot().size(), "server name", "the node's name and a domain",
                        quoted_bytes(name));
            info.expect_changed("server information", [&](sts_server_info_t &expected) {
                set_disk_array(expected);
                put_text(expected.server_name, name);
            });
        }
}

CONFORMANCE_TEST("server-props.by-handle.traced-before-the-record",
                 "Both trace lines of server properties by handle come before the record is written.") {
    write_example_configs();
    Session &session = new_session();
    const auto handle = open_server(session, "Kelvarpool:nodeA");
    session.clear();
    Watched<sts_server_info_t> info;
    int looks = 0;
    session.on_message = [&] {
        ++looks;
        info.expect_untouched("server information while a trace line is sent");
    };
    expect_status(plugin().get_server_prop(handle, info.get()), 0);
    session.on_message = nullptr;
    expect_number("trace lines", looks, 2);
}

CONFORMANCE_TEST("server-props.by-name.traced-around-the-record",
                 "The leaving line of server properties by name comes when the record is written.") {
    write_example_configs();
    for (const char *name : {"Kelvarpool:nodeA", "copan:arr1"}) {
        Session &session = new_session();
        Watched<sts_server_info_t> info;
        uint32_t last_seen = 0;
        const uint32_t before = word(*info.get(), 1040);
        session.on_message = [&] { last_seen = word(*info.get(), 1040); };
        expect_status(plugin().get_server_prop_byname(session.pointer(), name, info.get()), 0);
        session.on_message = nullptr;
        expect_number("capability word at the leaving line", last_seen, before | 0x10040100);
    }
}

CONFORMANCE_TEST("server-props.by-handle.copan",
                 "A Copan handle sets the common bits, server type 4 and its name, no other byte.") {
    write_example_configs();
    const auto handle = open_server(new_session(), "copan:arr1.lab");
    expect_record(
        0, [&](sts_server_info_t *info) { return plugin().get_server_prop(handle, info); },
        [](sts_server_info_t &expected) {
            set_copan(expected);
            put_text(expected.server_name, "arr1.lab");
        });
}

CONFORMANCE_TEST("server-props.by-handle.no-server",
                 "A handle without a server object gives STS_E_INVALID_PARAMETER, with the common bits set.") {
    write_example_configs();
    const auto null_host = open_server(new_session(), "Kelvarpool:");
    sts_server_handle_t failed = nullptr;
    plugin().open_server(new_session().pointer(), "nobody:x", &failed);
    sts_server_handle_t not_found = nullptr;
    plugin().open_server(new_session().pointer(), "copan:other", &not_found);
    for (const auto handle : {null_host, failed, not_found})
        expect_record(
            STS_E_INVALID_PARAMETER, [&](sts_server_info_t *info) { return plugin().get_server_prop(handle, info); },
            set_common);
}

CONFORMANCE_TEST("server-props.by-handle.null-arguments",
                 "A null handle or record gives STS_E_INVALID_PARAMETER; nothing is traced or written.") {
    write_example_configs();
    expect_under_every_mask(STS_E_INVALID_PARAMETER, {}, [](Session &session) {
        const auto handle = open_server(session, "Kelvarpool:nodeA");
        session.clear();
        return plugin().get_server_prop(handle, nullptr);
    });
    expect_record(
        STS_E_INVALID_PARAMETER, [](sts_server_info_t *info) { return plugin().get_server_prop(nullptr, info); },
        unchanged);
    expect_status(plugin().get_server_prop(nullptr, nullptr), STS_E_INVALID_PARAMETER);
}

CONFORMANCE_TEST("server-props.by-handle.log", "The two trace lines are all that is logged, whatever the handle.") {
    write_example_configs();
    for (const auto &[name, status] : {std::pair{"Kelvarpool:nodeA", 0}, std::pair{"copan:arr1", 0},
                                       std::pair{"Kelvarpool:", static_cast<int>(STS_E_INVALID_PARAMETER)}})
        expect_under_every_mask(status, {entering(by_handle), leaving(by_handle)}, [given = name](Session &session) {
            const auto handle = open_server(session, given);
            session.clear();
            Watched<sts_server_info_t> info;
            return plugin().get_server_prop(handle, info.get());
        });
}

CONFORMANCE_TEST("server-props.by-handle.same-name-as-lsu-props",
                 "The name of a disk array is the one its LSU properties tell.") {
    write_example_configs();
    const auto handle = open_server(new_session(), "Kelvarpool:nodeA");
    Watched<sts_server_info_t> server;
    Watched<sts_lsu_info_v9_t> pool;
    expect_status(plugin().get_server_prop(handle, server.get()), 0);
    expect_status(plugin().get_lsu_prop_byname(lsu(handle, "enc1"), pool.get()), 0);
    expect_text("server name", server->server_name, pool->server_name);
}

CONFORMANCE_TEST("server-props.by-name.disk-array",
                 "By name, a disk array's host part and bits are told without reading the configuration.") {
    write_config("Kelvarpool", "FOO = 1;\n");
    for (const auto &[name, host] : {std::pair{"Kelvarpool:nodeA", "nodeA"}, std::pair{"Kelvarpool:a:b", "a:b"},
                                     std::pair{"Kelvarpool:", ""}, std::pair{"Kelvarpool:x/", "x/"},
                                     std::pair{"Kelvarpool: x ", " x "}, std::pair{"Kelvarpool:Node.A.", "Node.A."}})
        expect_record(
            0,
            [given = name](sts_server_info_t *info) {
                return plugin().get_server_prop_byname(new_session().pointer(), given, info);
            },
            [wanted = host](sts_server_info_t &expected) {
                set_disk_array(expected);
                put_text(expected.server_name, wanted);
            });
    expect_text("standard output", take_output(), "");
}

CONFORMANCE_TEST("server-props.by-name.copan",
                 "By name, a Copan array tells the common bits, server type 4 and its name.") {
    write_example_configs();
    expect_record(
        0,
        [](sts_server_info_t *info) {
            return plugin().get_server_prop_byname(new_session().pointer(), "copan:arr1.lab", info);
        },
        [](sts_server_info_t &expected) {
            set_copan(expected);
            put_text(expected.server_name, "arr1.lab");
        });
}

CONFORMANCE_TEST(
    "server-props.by-name.copan.unknown-array",
    "An array that the file does not have gives STS_E_INTERNAL and its reason alone; bits and type are set.") {
    write_example_configs();
    expect_record(
        STS_E_INTERNAL,
        [](sts_server_info_t *info) {
            return plugin().get_server_prop_byname(new_session().pointer(), "copan:other", info);
        },
        set_copan);
    // A null session is refused before anything, so it is left out here.
    for (const uint32_t mask : {0xffU, 0x9U, 0x1U, 0x8U, 0x0U, 0xf6U}) {
        Session &session = new_session(mask);
        Watched<sts_server_info_t> info;
        expect_status(plugin().get_server_prop_byname(session.pointer(), "copan:other", info.get()), STS_E_INTERNAL);
        session.expect_log({entering(by_name), error("StorageServer not found"), leaving(by_name)});
    }
}

CONFORMANCE_TEST(
    "server-props.by-name.not-claimed",
    "A name that is not claimed gives STS_E_INVALID_PARAMETER between the trace lines and leaves the record alone.") {
    write_config("", "");
    for (const char *name : {"nobody:x", "Kelvarpool:nodeA", "", static_cast<const char *>(nullptr)}) {
        expect_record(
            STS_E_INVALID_PARAMETER,
            [&](sts_server_info_t *info) {
                return plugin().get_server_prop_byname(new_session().pointer(), name, info);
            },
            unchanged);
        Session &session = new_session();
        Watched<sts_server_info_t> info;
        expect_status(plugin().get_server_prop_byname(session.pointer(), name, info.get()), STS_E_INVALID_PARAMETER);
        session.expect_log({entering(by_name), leaving(by_name)});
    }
}

CONFORMANCE_TEST("server-props.by-name.null-arguments",
                 "A null session or record gives STS_E_INVALID_PARAMETER before anything is traced or written.") {
    write_example_configs();
    Session &session = new_session();
    expect_status(plugin().get_server_prop_byname(session.pointer(), "Kelvarpool:nodeA", nullptr),
                  STS_E_INVALID_PARAMETER);
    session.expect_log({});
    expect_record(
        STS_E_INVALID_PARAMETER,
        [](sts_server_info_t *info) { return plugin().get_server_prop_byname(nullptr, "Kelvarpool:nodeA", info); },
        unchanged);
    expect_status(plugin().get_server_prop_byname(nullptr, nullptr, nullptr), STS_E_INVALID_PARAMETER);
}

CONFORMANCE_TEST("server-props.by-name.log", "The two trace lines bracket the call.") {
    write_example_configs();
    for (const char *name : {"Kelvarpool:nodeA", "copan:arr1"})
        for (const uint32_t mask : {0xffU, 0x1U, 0x8U, 0x0U, 0xf6U}) {
            Session &session = new_session(mask);
            Watched<sts_server_info_t> info;
            expect_status(plugin().get_server_prop_byname(session.pointer(), name, info.get()), 0);
            session.expect_log({entering(by_name), leaving(by_name)});
            session.expect_unwritten();
        }
}

CONFORMANCE_TEST("server-props.by-name.without-log-function", "Without a log function the answers are the same.") {
    write_example_configs();
    Session &session = new_session();
    session.set_log_function(nullptr);
    Watched<sts_server_info_t> info;
    expect_status(plugin().get_server_prop_byname(session.pointer(), "copan:arr1", info.get()), 0);
    expect_status(plugin().get_server_prop_byname(session.pointer(), "copan:other", info.get()), STS_E_INTERNAL);
    expect_status(plugin().get_server_prop_byname(session.pointer(), "Kelvarpool:x", info.get()), 0);
}

CONFORMANCE_TEST("server-props.by-name.without-colon", "A claimed name without ':' is a Copan server without a name.") {
    write_config("lab", copan_config());
    expect_record(
        0,
        [](sts_server_info_t *info) {
            const int32_t status = plugin().get_server_prop_byname(new_session().pointer(), "lab", info);
            expect_text("standard output", take_output(), "Error in server_name\n");
            return status;
        },
        [](sts_server_info_t &expected) {
            set_copan(expected);
            put_text(expected.server_name, "");
        });
}

CONFORMANCE_TEST("server-props.by-name.copan.empty-host",
                 "A Copan name without a host part is looked up like any other.") {
    write_example_configs();
    expect_record(
        STS_E_INTERNAL,
        [](sts_server_info_t *info) {
            return plugin().get_server_prop_byname(new_session().pointer(), "copan:", info);
        },
        set_copan);
}

CONFORMANCE_TEST("server-props.by-name.long-names",
                 "Names beyond the field are cut at 511 bytes or refused; the bytes behind the field stay.") {
    write_example_configs();
    for (const size_t length : {511UL, 512UL, 3000UL}) {
        expect_long_name("Kelvarpool:", std::string(length, 'n'), set_disk_array);
        expect_long_name("copan:", "arr1." + std::string(length, 'n'), set_copan);
    }
}

CONFORMANCE_TEST("server-props.by-handle.long-name",
                 "A Copan server's name beyond the field is cut at 511 bytes, or such a server is not opened.") {
    write_example_configs();
    const std::string host = "arr1." + std::string(3000, 'n');
    sts_server_handle_t handle = nullptr;
    const int32_t status = plugin().open_server(new_session().pointer(), ("copan:" + host).c_str(), &handle);
    if (is_refused_long_host(host, status))
        return;
    require_status(status, 0);
    expect_record(
        0, [&](sts_server_info_t *info) { return plugin().get_server_prop(handle, info); },
        [&](sts_server_info_t &expected) {
            set_copan(expected);
            put_text(expected.server_name, host);
        });
}

CONFORMANCE_TEST("server-props.ten-times", "Ten calls on one record give the same record as one.") {
    write_example_configs();
    const auto handle = open_server(new_session(), "copan:arr1");
    Watched<sts_server_info_t> info(0);
    for (int round = 0; round < 10; ++round) {
        expect_status(plugin().get_server_prop(handle, info.get()), 0);
        expect_status(plugin().get_server_prop_byname(new_session().pointer(), "copan:arr1", info.get()), 0);
    }
    info.expect_changed("server information", [](sts_server_info_t &expected) {
        set_copan(expected);
        put_text(expected.server_name, "arr1");
    });
}

}  // namespace conformance
