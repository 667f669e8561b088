// stspi_open_server and stspi_close_server.
#include "conformance/calls/configuration.h"
#include "conformance/calls/entry_points.h"
#include "conformance/calls/image_calls.h"
#include "conformance/calls/mount_messages.h"
#include "conformance/report/test_case.h"
#include "conformance/tests/long_host.h"
#include "conformance/watch/expect.h"
#include "conformance/watch/resource_registry.h"
#include "conformance/watch/standard_output.h"

namespace conformance {

namespace {

// Opens, remembers the handle, and leaves the log of exactly this call.
int32_t open_only(Session &session, const char *name) {
    sts_server_handle_t handle = nullptr;
    const int32_t status = plugin().open_server(session.pointer(), name, &handle);
    expect_true(handle != nullptr, "stored handle", "a handle, whatever the status", "null");
    return status;
}

}  // namespace

CONFORMANCE_TEST("server-open.disk-array.log",
                 "Opening a disk array sends its entering line, the name, \"KELVARPOOL \" and its leaving line.") {
    write_example_configs();
    expect_under_every_mask(
        0,
        {entering("stspi_open_server"), trace("Kelvarpool:nodeA"), trace("KELVARPOOL "), leaving("stspi_open_server")},
        [](Session &session) { return open_only(session, "Kelvarpool:nodeA"); });
}

CONFORMANCE_TEST("server-open.copan.log",
                 "Opening a Copan array sends its entering line, the name, \"STS-DYNAMIC \" and its leaving line.") {
    write_example_configs();
    expect_under_every_mask(
        0, {entering("stspi_open_server"), trace("copan:arr1"), trace("STS-DYNAMIC "), leaving("stspi_open_server")},
        [](Session &session) { return open_only(session, "copan:arr1"); });
}

CONFORMANCE_TEST("server-open.copan.any-prefix", "Any claimed prefix but the disk arrays' is a Copan array's.") {
    write_config("lab", copan_config());
    expect_under_every_mask(
        0, {entering("stspi_open_server"), trace("lab:arr1"), trace("STS-DYNAMIC "), leaving("stspi_open_server")},
        [](Session &session) { return open_only(session, "lab:arr1"); });
    expect_texts("names of the list", list_lsus(open_server(new_session(), "lab:arr1")), {"vol1", "vol2", "vol1"});
}

CONFORMANCE_TEST("server-open.prefix-only-at-start",
                 "\"Kelvarpool:\" later in a name does not make it a disk array's.") {
    write_config("lab", "STORAGE_SERVER = xKelvarpool;\n");
    expect_under_every_mask(
        STS_E_INTERNAL,
        {entering("stspi_open_server"), trace("lab:x Kelvarpool:y"), trace("STS-DYNAMIC "), error("lab:x Kelvarpool:y"),
         error("StorageServer not found"), leaving("stspi_open_server")},
        [](Session &session) { return open_only(session, "lab:x Kelvarpool:y"); });
}

CONFORMANCE_TEST("server-open.prefix-case", "The prefix is compared with its case.") {
    write_config("kelvarpool", copan_config());
    expect_under_every_mask(
        0,
        {entering("stspi_open_server"), trace("kelvarpool:arr1"), trace("STS-DYNAMIC "), leaving("stspi_open_server")},
        [](Session &session) { return open_only(session, "kelvarpool:arr1"); });
}

CONFORMANCE_TEST("server-open.null-out-handle",
                 "A null out-address gives STS_E_INVALID_PARAMETER and trace lines only.") {
    write_example_configs();
    for (const char *name : {"Kelvarpool:nodeA", "copan:arr1", "nobody:x", ""})
        expect_under_every_mask(
            STS_E_INVALID_PARAMETER, {entering("stspi_open_server"), leaving("stspi_open_server")},
            [&](Session &session) { return plugin().open_server(session.pointer(), name, nullptr); });
}

CONFORMANCE_TEST("server-open.not-claimed",
                 "A name without a configuration file gives STS_E_INTERNAL and a handle to close.") {
    expect_under_every_mask(STS_E_INTERNAL,
                            {entering("stspi_open_server"), trace("nobody:x"), leaving("stspi_open_server")},
                            [](Session &session) { return open_only(session, "nobody:x"); });
    expect_under_every_mask(STS_E_INTERNAL,
                            {entering("stspi_open_server"), trace("Kelvarpool:x"), leaving("stspi_open_server")},
                            [](Session &session) { return open_only(session, "Kelvarpool:x"); });
}

CONFORMANCE_TEST("server-open.null-name", "A null name is not claimed; there is no name to log.") {
    expect_under_every_mask(STS_E_INTERNAL, {entering("stspi_open_server"), leaving("stspi_open_server")},
                            [](Session &session) { return open_only(session, nullptr); });
}

CONFORMANCE_TEST("server-open.empty-name", "An empty name is logged as it is and not claimed.") {
    write_config("", "");
    expect_under_every_mask(STS_E_INTERNAL, {entering("stspi_open_server"), trace(""), leaving("stspi_open_server")},
                            [](Session &session) { return open_only(session, ""); });
}

CONFORMANCE_TEST("server-open.null-host",
                 "An empty host part succeeds with a null-host handle and \"NULL HOST\" in the error class.") {
    write_example_configs();
    for (const char *name : {"Kelvarpool:", "copan:"})
        expect_under_every_mask(
            0, {entering("stspi_open_server"), trace(name), error("NULL HOST"), leaving("stspi_open_server")},
            [&](Session &session) { return open_only(session, name); });
}

CONFORMANCE_TEST("server-open.null-host.reads-no-configuration", "A null-host open reads no configuration line.") {
    write_config("Kelvarpool", "FOO = 1;\n");
    write_config("copan", "no equals sign\n");
    open_server(new_session(), "Kelvarpool:");
    open_server(new_session(), "copan:");
    expect_text("standard output", take_output(), "");
}

CONFORMANCE_TEST("server-open.null-host.keeps-session",
                 "A null-host open does not make its session the simulators' session.") {
    write_example_configs();
    Session &first = new_session();
    const auto handle = open_server(first, "Kelvarpool:nodeA");
    Session &second = new_session();
    open_server(second, "Kelvarpool:");
    first.clear();
    second.clear();
    fail_a_mount(handle);
    first.expect_log({entering("stspi_mount_lsu"), unknown_group(), leaving("stspi_mount_lsu")});
    second.expect_log({});
}

CONFORMANCE_TEST("server-open.last-session-wins",
                 "The simulators log through the session of the latest open, whatever handle is used.") {
    write_example_configs();
    Session &first = new_session();
    const auto handle = open_server(first, "Kelvarpool:nodeA");
    Session &second = new_session();
    const auto other = open_server(second, "Kelvarpool:nodeB");
    first.clear();
    second.clear();
    fail_a_mount(handle);
    first.expect_log({entering("stspi_mount_lsu"), leaving("stspi_mount_lsu")});
    second.expect_log({unknown_group()});
    expect_status(plugin().close_server(other), 0);
    second.clear();
    fail_a_mount(handle);
    second.expect_log({unknown_group()});
}

CONFORMANCE_TEST("server-open.session-per-kind", "Disk arrays and Copan arrays have a simulator session each.") {
    write_example_configs();
    Session &array = new_session();
    const auto handle = open_server(array, "Kelvarpool:nodeA");
    Session &copan = new_session();
    open_server(copan, "copan:arr1");
    array.clear();
    copan.clear();
    fail_a_mount(handle);
    array.expect_log({entering("stspi_mount_lsu"), unknown_group(), leaving("stspi_mount_lsu")});
    copan.expect_log({});
}

CONFORMANCE_TEST("server-open.failed-open-keeps-session",
                 "An open that fails does not make its session the simulators'.") {
    write_example_configs();
    Session &first = new_session();
    const auto handle = open_server(first, "Kelvarpool:nodeA");
    remove_config("Kelvarpool");
    Session &second = new_session();
    sts_server_handle_t failed = nullptr;
    expect_status(plugin().open_server(second.pointer(), "Kelvarpool:nodeB", &failed), STS_E_INTERNAL);
    first.clear();
    second.clear();
    fail_a_mount(handle);
    first.expect_log({entering("stspi_mount_lsu"), unknown_group(), leaving("stspi_mount_lsu")});
    second.expect_log({});
}

CONFORMANCE_TEST("server-open.null-session-replaces", "An open with a null session silences the simulators.") {
    write_example_configs();
    Session &first = new_session();
    const auto handle = open_server(first, "Kelvarpool:nodeA");
    open_server(new_null_session(), "Kelvarpool:nodeB");
    first.clear();
    fail_a_mount(handle);
    first.expect_log({entering("stspi_mount_lsu"), leaving("stspi_mount_lsu")});
}

CONFORMANCE_TEST("server-open.copan.unknown-array",
                 "A file without the array gives STS_E_INTERNAL, the name and \"StorageServer not found\" as errors.") {
    write_config("copan", "STORAGE_SERVER = arr2 ;\n\tVOLUMES = v1 ;\n");
    expect_under_every_mask(STS_E_INTERNAL,
                            {entering("stspi_open_server"), trace("copan:arr1"), trace("STS-DYNAMIC "),
                             error("copan:arr1"), error("StorageServer not found"), leaving("stspi_open_server")},
                            [](Session &session) { return open_only(session, "copan:arr1"); });
}

CONFORMANCE_TEST(
    "server-open.without-colon",
    "A claimed name without ':' is its own host; the simulator says so on standard output and stays empty.") {
    write_config("lab", copan_config());
    expect_under_every_mask(
        0, {entering("stspi_open_server"), trace("lab"), trace("STS-DYNAMIC "), leaving("stspi_open_server")},
        [](Session &session) {
            const int32_t status = open_only(session, "lab");
            expect_text("standard output", take_output(), "Error in server_name\n");
            return status;
        });
    const auto handle = open_server(new_session(), "lab");
    take_output();
    expect_texts("names of the list", list_lsus(handle), {});
}

CONFORMANCE_TEST("server-open.bare-prefix", "\"Kelvarpool\" without ':' is no disk array.") {
    write_example_configs();
    expect_under_every_mask(
        0, {entering("stspi_open_server"), trace("Kelvarpool"), trace("STS-DYNAMIC "), leaving("stspi_open_server")},
        [](Session &session) {
            const int32_t status = open_only(session, "Kelvarpool");
            expect_text("standard output", take_output(), "Error in server_name\n");
            return status;
        });
}

CONFORMANCE_TEST("server-open.host-name", "The host part is all that follows the first ':'.") {
    write_example_configs();
    for (const auto &[name, host] :
         {std::pair{"Kelvarpool:nodeA", "nodeA"}, std::pair{"Kelvarpool:a:b", "a:b"}, std::pair{"Kelvarpool::", ":"},
          std::pair{"Kelvarpool: x ", " x "}, std::pair{"Kelvarpool:%s%n", "%s%n"}, std::pair{"Kelvarpool:x/", "x/"},
          std::pair{"Kelvarpool:Node.A.", "Node.A."}, std::pair{"Kelvarpool:/x;", "/x;"}}) {
        const auto handle = open_server(new_session(), name);
        expect_status(plugin().open_image_list(lsu(handle, "enc1"), 0, nullptr), 0);
        expect_text("server name given to the image library", take_image_call("stsimg_open_image_list").server_name,
                    host);
    }
}

CONFORMANCE_TEST("server-open.long-host",
                 "A host part beyond its field is cut at 511 bytes or refused; nothing is overrun.") {
    write_example_configs();
    for (const size_t length : {510UL, 511UL, 512UL, 513UL, 1023UL, 3000UL}) {
        const std::string host(length, 'h');
        const GuardedText name("Kelvarpool:" + host);
        Session &session = new_session();
        sts_server_handle_t handle = nullptr;
        const int32_t status = plugin().open_server(session.pointer(), name.get(), &handle);
        if (is_refused_long_host(host, status))
            continue;
        require_status(status, 0);
        session.expect_log(
            {entering("stspi_open_server"), trace(name.get()), trace("KELVARPOOL "), leaving("stspi_open_server")});
        expect_status(plugin().open_image_list(lsu(handle, "enc1"), 0, nullptr), 0);
        expect_text("server name given to the image library", take_image_call("stsimg_open_image_list").server_name,
                    host.substr(0, 511));
        // The fields behind the host name must have survived: the array still answers.
        expect_status(plugin().close_server(handle), 0);
    }
}

CONFORMANCE_TEST("server-open.long-host.copan", "A Copan host part of 3,000 bytes does no harm.") {
    write_config("copan", copan_config());
    const std::string unknown(3000, 'c');
    const GuardedText name("copan:" + unknown);
    sts_server_handle_t handle = nullptr;
    const int32_t status = plugin().open_server(new_session().pointer(), name.get(), &handle);
    if (status != STS_E_INTERNAL && is_refused_long_host(unknown, status))
        return;
    expect_status(status, STS_E_INTERNAL);
    const std::string host = "arr1." + unknown;
    const GuardedText dotted("copan:" + host);
    handle = nullptr;
    const int32_t dotted_status = plugin().open_server(new_session().pointer(), dotted.get(), &handle);
    if (is_refused_long_host(host, dotted_status))
        return;
    expect_status(dotted_status, 0);
    expect_status(plugin().open_image_list(lsu(handle, "vol2"), 0, nullptr), 0);
    owns_directory(work_directory() + "/cop");
    owns_directory(work_directory() + "/cop/vol2");
    expect_text("server name given to the image library", take_image_call("stsimg_open_image_list").server_name,
                std::string(dotted.get()).substr(6, 511));
}

CONFORMANCE_TEST("server-open.ignored-arguments", "The third and fourth arguments are not looked at.") {
    write_example_configs();
    for (const uint64_t value : {0ULL, 1ULL, 0xffffffffffffffffULL}) {
        plugin().set_ignored(token(value));
        open_server(new_session(), "Kelvarpool:nodeA");
        open_server(new_session(), "copan:arr1");
    }
}

CONFORMANCE_TEST("server-open.name-not-kept", "The server name is the caller's: it may change once the call is over.") {
    write_example_configs();
    char name[] = "copan:arr1";
    sts_server_handle_t handle = nullptr;
    require_status(plugin().open_server(new_session().pointer(), name, &handle), 0);
    std::memset(name, 'z', sizeof name - 1);
    Watched<sts_server_info_t> info;
    expect_status(plugin().get_server_prop(handle, info.get()), 0);
    expect_text("server name", info->server_name, "arr1");
}

CONFORMANCE_TEST("server-open.ten-times", "Ten opens of the same name give ten handles, each with its own life.") {
    write_example_configs();
    std::vector<sts_server_handle_t> handles;
    for (int round = 0; round < 10; ++round)
        for (const char *name : {"Kelvarpool:nodeA", "copan:arr1", "Kelvarpool:"}) {
            const auto handle = open_server(new_session(), name);
            for (const auto other : handles)
                expect_true(handle != other, "handle", "a new one", "one that is open already");
            handles.push_back(handle);
        }
    for (size_t i = 0; i < handles.size(); i += 2)
        expect_status(plugin().close_server(handles[i]), 0);
}

CONFORMANCE_TEST("server-open.session-is-read-only", "The session record is only read, never written.") {
    write_example_configs();
    // Static: the simulators keep the address of the last session even when no handle is left.
    static GuardedMemory memory(sizeof(sts_session_def_v7_t));
    auto *record = static_cast<sts_session_def_v7_t *>(memory.data());
    record->log_function = nullptr;
    memory.make_read_only();
    sts_server_handle_t handle = nullptr;
    require_status(plugin().open_server(record, "Kelvarpool:nodeA", &handle), 0);
    fail_a_mount(handle);
    expect_status(plugin().close_server(handle), 0);
}

CONFORMANCE_TEST("server-close.null-handle", "Closing a null handle gives STS_E_INVALID_PARAMETER.") {
    for (int round = 0; round < 10; ++round)
        expect_status(plugin().close_server(nullptr), STS_E_INVALID_PARAMETER);
}

CONFORMANCE_TEST("server-close.log", "Closing any handle sends the two trace lines and returns 0.") {
    write_example_configs();
    for (const char *name : {"Kelvarpool:nodeA", "copan:arr1", "Kelvarpool:", "nobody:x", "copan:other"})
        expect_under_every_mask(0, {entering("stspi_close_server"), leaving("stspi_close_server")},
                                [&](Session &session) {
                                    sts_server_handle_t handle = nullptr;
                                    plugin().open_server(session.pointer(), name, &handle);
                                    session.clear();
                                    return plugin().close_server(handle);
                                });
}

CONFORMANCE_TEST("server-close.multi-host", "A handle with a host list closes with the two trace lines and 0.") {
    write_example_configs();
    expect_under_every_mask(0, {entering("stspi_close_server"), leaving("stspi_close_server")}, [](Session &session) {
        const auto handle = create_server(session, "Kelvarpool:nodeA", {"h1", "", std::string(2000, 'x')});
        session.clear();
        return plugin().close_server(handle);
    });
}

CONFORMANCE_TEST("server-close.after-use",
                 "Closing takes everything of the handle along, also after lists and lookups.") {
    write_example_configs();
    const auto handle = create_server(new_session(), "Kelvarpool:nodeA", {"h1", "h2"});
    for (int round = 0; round < 10; ++round)
        expect_texts("pools", list_lsus(handle), {"enc2", "enc1"});
    expect_status(plugin().close_server(handle), 0);
}

}  // namespace conformance
