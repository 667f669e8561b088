// Whose session each kind of simulator logs through after a call: only the opening of an array of that kind changes it.
#include <functional>

#include "conformance/calls/configuration.h"
#include "conformance/calls/entry_points.h"
#include "conformance/calls/image_calls.h"
#include "conformance/calls/mount_messages.h"
#include "conformance/report/test_case.h"
#include "conformance/watch/expect.h"

namespace conformance {

namespace {

// Opens an array of each kind, runs action with a session of its own, and looks where the simulators' messages go then.
void expect_sessions_kept(const std::function<void(Session &)> &action) {
    write_example_configs();
    // Without a storage directory a Copan simulator has something to say.
    write_config("copan", "STORAGE_SERVER = arr1 ;\n\tVOLUMES = vol1 ;\n");
    Session &own = new_session(0);
    Session &of_arrays = new_session(0);
    Session &of_copans = new_session(0);
    const auto array = open_server(of_arrays, "Kelvarpool:nodeA");
    const auto copan = open_server(of_copans, "copan:arr1");
    action(own);
    for (Session *session : {&own, &of_arrays, &of_copans})
        session->clear();
    fail_a_mount(array);
    of_arrays.expect_log({unknown_group()});
    plugin().open_image_list(lsu(copan, "vol1"), 0, nullptr);  // without a directory the plug-in may refuse
    take_image_calls();
    of_copans.expect_log({unmasked("m_storage_dir directory creation failed: "), unmasked("")});
    of_arrays.expect_log({});
    own.expect_log({});
}

void open_and_close(Session &session, const char *name) {
    sts_server_handle_t handle = nullptr;
    plugin().open_server(session.pointer(), name, &handle);
    plugin().close_server(handle);
}

}  // namespace

CONFORMANCE_TEST("simulator-sessions.null-host", "A null-host opening leaves both simulators' sessions.") {
    expect_sessions_kept([](Session &own) {
        open_and_close(own, "Kelvarpool:");
        open_and_close(own, "copan:");
    });
}

CONFORMANCE_TEST("simulator-sessions.failed-open", "An opening that fails leaves both simulators' sessions.") {
    expect_sessions_kept([](Session &own) {
        open_and_close(own, "copan:other");
        open_and_close(own, "nobody:x");
    });
}

CONFORMANCE_TEST("simulator-sessions.disk-array", "Opening a disk array leaves the Copan simulator's session.") {
    write_config("copan", "STORAGE_SERVER = arr1 ;\n\tVOLUMES = vol1 ;\n");
    write_config("Kelvarpool", disk_array_config());
    Session &first = new_session(0);
    const auto copan = open_server(first, "copan:arr1");
    Session &second = new_session(0);
    open_server(second, "Kelvarpool:nodeA");
    plugin().open_image_list(lsu(copan, "vol1"), 0, nullptr);  // without a directory the plug-in may refuse
    first.expect_log({unmasked("m_storage_dir directory creation failed: "), unmasked("")});
    second.expect_log({});
}

CONFORMANCE_TEST("simulator-sessions.create", "Creating a server leaves both simulators' sessions.") {
    expect_sessions_kept([](Session &own) {
        for (const auto &hosts : {std::vector<std::string>{"h1"}, std::vector<std::string>{}})
            create_server(own, "Kelvarpool:nodeA", hosts);
    });
}

CONFORMANCE_TEST("simulator-sessions.target", "Opening a target leaves both simulators' sessions.") {
    expect_sessions_kept([](Session &own) {
        const auto source = open_server(own, "copan:");
        sts_server_handle_t target = nullptr;
        require_status(plugin().open_target_server(source, "copan:arr1", &target), 0);
    });
}

CONFORMANCE_TEST("simulator-sessions.close", "Closing a server leaves both simulators' sessions.") {
    write_example_configs();
    write_config("copan", "STORAGE_SERVER = arr1 ;\n\tVOLUMES = vol1 ;\n");
    Session &closed = new_session(0);
    const sts_server_handle_t handles[] = {open_server(closed, "Kelvarpool:nodeB"), open_server(closed, "copan:arr1"),
                                           create_server(closed, "Kelvarpool:nodeB", {"h1"})};
    expect_sessions_kept([&](Session &) {
        for (sts_server_handle_t handle : handles)
            expect_status(plugin().close_server(handle), 0);
        closed.clear();
    });
    closed.expect_log({});
}

CONFORMANCE_TEST("simulator-sessions.server-properties", "Server properties by name leave both simulators' sessions.") {
    expect_sessions_kept([](Session &own) {
        for (const char *name : {"Kelvarpool:nodeB", "copan:arr1", "copan:other"}) {
            Watched<sts_server_info_t> info;
            plugin().get_server_prop_byname(own.pointer(), name, info.get());
        }
    });
}

}  // namespace conformance
