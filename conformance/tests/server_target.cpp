// stspi_open_target_server.
#include <algorithm>

#include "conformance/calls/configuration.h"
#include "conformance/calls/entry_points.h"
#include "conformance/calls/image_calls.h"
#include "conformance/report/test_case.h"
#include "conformance/tests/long_host.h"
#include "conformance/watch/expect.h"
#include "conformance/watch/resource_registry.h"
#include "conformance/watch/standard_output.h"

namespace conformance {

namespace {

constexpr char open_target_server_name[] = "stspi_open_target_server";

// Opens a target of a fresh source and leaves the log of exactly this call.
int32_t open_target(Session &session, const char *source_name, const char *name, bool handle_stays) {
    const auto source = open_server(session, source_name);
    session.clear();
    sts_server_handle_t target = nullptr;
    const int32_t status = plugin().open_target_server(source, name, &target);
    expect_true(target != nullptr, "stored handle", "a handle", "null");
    if (status != 0 && handle_stays)
        register_resource(target, "target", [target] { plugin().close_server(target); });
    return status;
}

}  // namespace

CONFORMANCE_TEST("server-target.copan.log",
                 "Opening a Copan target sends the two trace lines to the source's session and nothing else.") {
    write_example_configs();
    for (const char *source : {"copan:arr1", "Kelvarpool:nodeA", "Kelvarpool:"})
        expect_under_every_mask(0, {entering(open_target_server_name), leaving(open_target_server_name)},
                                [&](Session &session) { return open_target(session, source, "copan:arr1", true); });
}

CONFORMANCE_TEST("server-target.copan.usable",
                 "A target is a Copan server like any other, with the source's session.") {
    write_example_configs();
    Session &session = new_session();
    const auto source = open_server(session, "Kelvarpool:nodeA");
    sts_server_handle_t target = nullptr;
    require_status(plugin().open_target_server(source, "copan:arr1", &target), 0);
    expect_texts("LSUs", list_lsus(target), {"vol1", "vol2", "vol1"});
    Watched<sts_server_info_t> info;
    session.clear();
    expect_status(plugin().get_server_prop(target, info.get()), 0);
    session.expect_log({entering("stspi_get_server_prop"), leaving("stspi_get_server_prop")});
    expect_text("server name", info->server_name, "arr1");
    expect_status(plugin().close_server(source), 0);
    expect_texts("LSUs after the source is closed", list_lsus(target), {"vol1", "vol2", "vol1"});
}

CONFORMANCE_TEST("server-target.null-source", "A null source gives STS_E_INVALID_PARAMETER.") {
    write_example_configs();
    sts_server_handle_t target = nullptr;
    expect_status(plugin().open_target_server(nullptr, "copan:arr1", &target), STS_E_INVALID_PARAMETER);
    expect_status(plugin().open_target_server(nullptr, nullptr, nullptr), STS_E_INVALID_PARAMETER);
    expect_true(target == nullptr, "stored handle", "none", "a handle");
}

CONFORMANCE_TEST("server-target.null-name-or-out",
                 "A null name or out-address gives STS_E_INVALID_PARAMETER between the trace lines, and no handle.") {
    write_example_configs();
    expect_under_every_mask(STS_E_INVALID_PARAMETER,
                            {entering(open_target_server_name), leaving(open_target_server_name)},
                            [](Session &session) {
                                const auto source = open_server(session, "copan:arr1");
                                session.clear();
                                sts_server_handle_t target = nullptr;
                                const int32_t status = plugin().open_target_server(source, nullptr, &target);
                                expect_true(target == nullptr, "stored handle", "none", "a handle");
                                return status;
                            });
    expect_under_every_mask(STS_E_INVALID_PARAMETER,
                            {entering(open_target_server_name), leaving(open_target_server_name)},
                            [](Session &session) {
                                const auto source = open_server(session, "copan:arr1");
                                session.clear();
                                return plugin().open_target_server(source, "copan:arr1", nullptr);
                            });
}

CONFORMANCE_TEST("server-target.not-claimed",
                 "A name without a configuration file gives STS_E_INTERNAL and a handle to close.") {
    write_config("copan", copan_config());
    for (const char *name : {"nobody:x", "Kelvarpool:x", ""})
        expect_under_every_mask(STS_E_INTERNAL, {entering(open_target_server_name), leaving(open_target_server_name)},
                                [&](Session &session) { return open_target(session, "copan:arr1", name, true); });
}

CONFORMANCE_TEST("server-target.null-host",
                 "An empty host part is refused with STS_E_INTERNAL and its message, for any prefix.") {
    write_example_configs();
    for (const char *name : {"copan:", "Kelvarpool:"})
        expect_under_every_mask(
            STS_E_INTERNAL,
            {entering(open_target_server_name), error("NULL server handle not supported for target server"),
             leaving(open_target_server_name)},
            [&](Session &session) { return open_target(session, "copan:arr1", name, false); });
}

CONFORMANCE_TEST("server-target.disk-array",
                 "A disk-array target is refused with STS_E_INTERNAL and its message, which ends in a blank.") {
    write_example_configs();
    for (const char *source : {"copan:arr1", "Kelvarpool:nodeB"})
        expect_under_every_mask(
            STS_E_INTERNAL,
            {entering(open_target_server_name), error("target server not yet implemented for Kelvarpool "),
             leaving(open_target_server_name)},
            [&](Session &session) { return open_target(session, source, "Kelvarpool:nodeA", false); });
}

CONFORMANCE_TEST(
    "server-target.copan.unknown-array",
    "A file without the array gives STS_E_INTERNAL, the name and the reason as errors, and a handle to close.") {
    write_example_configs();
    expect_under_every_mask(STS_E_INTERNAL,
                            {entering(open_target_server_name), error("copan:other"), error("StorageServer not found"),
                             leaving(open_target_server_name)},
                            [](Session &session) { return open_target(session, "copan:arr1", "copan:other", true); });
}

CONFORMANCE_TEST("server-target.without-colon", "A claimed name without ':' opens an empty Copan server.") {
    write_example_configs();
    write_config("lab", copan_config());
    expect_under_every_mask(0, {entering(open_target_server_name), leaving(open_target_server_name)},
                            [](Session &session) {
                                const int32_t status = open_target(session, "copan:arr1", "lab", true);
                                expect_text("standard output", take_output(), "Error in server_name\n");
                                return status;
                            });
}

CONFORMANCE_TEST("server-target.prefix-only-at-start",
                 "\"Kelvarpool:\" later in a name does not make the target a disk array's.") {
    write_example_configs();
    write_config("lab", "STORAGE_SERVER = Kelvarpool;\n");
    expect_under_every_mask(
        0, {entering(open_target_server_name), leaving(open_target_server_name)},
        [](Session &session) { return open_target(session, "copan:arr1", "lab:Kelvarpool", true); });
}

CONFORMANCE_TEST("server-target.session-not-for-simulators",
                 "Opening a target leaves the Copan simulator's session as it was.") {
    write_config("copan", "STORAGE_SERVER = arr1 ;\n\tVOLUMES = vol1 ;\n");
    Session &array = new_session();
    const auto source = open_server(array, "copan:arr1");
    Session &last = new_session();
    open_server(last, "copan:arr1");
    sts_server_handle_t target = nullptr;
    require_status(plugin().open_target_server(source, "copan:arr1", &target), 0);
    array.clear();
    last.clear();
    // Without a storage directory the simulator complains through its own session.
    Watched<sts_lsu_info_v9_t> info;
    expect_status(plugin().get_lsu_prop_byname(lsu(target, "vol1"), info.get()), STS_E_INVALID_PARAMETER);
    last.expect_log({unmasked("m_storage_dir directory creation failed: "), unmasked("")});
}

CONFORMANCE_TEST("server-target.host-name", "Image calls on a target hand on the target's host part.") {
    write_example_configs();
    const auto source = open_server(new_session(), "Kelvarpool:nodeA");
    sts_server_handle_t target = nullptr;
    require_status(plugin().open_target_server(source, "copan:arr1.lab:x", &target), 0);
    expect_status(plugin().open_image_list(lsu(target, "vol2"), 0, nullptr), 0);
    owns_directory(work_directory() + "/cop");
    owns_directory(work_directory() + "/cop/vol2");
    expect_text("server name given to the image library", take_image_call("stsimg_open_image_list").server_name,
                "arr1.lab:x");
}

CONFORMANCE_TEST("server-target.long-name", "Target names of 3,000 bytes do no harm.") {
    write_example_configs();
    Session &session = new_session();
    const auto source = open_server(session, "copan:arr1");
    session.clear();
    sts_server_handle_t target = nullptr;
    const std::string host(3000, 'x');
    const GuardedText unknown("copan:" + host);
    const int32_t status = plugin().open_target_server(source, unknown.get(), &target);
    const auto &messages = session.messages();
    const bool is_looked_up = std::any_of(messages.begin(), messages.end(), [](const RecordedMessage &message) {
        return message.text == "StorageServer not found";
    });
    // Refused for its length: what is stored then may be freed already.
    if (!is_looked_up && is_refused_long_host(host, status))
        return;
    expect_status(status, STS_E_INTERNAL);
    expect_status(plugin().close_server(target), 0);
    const GuardedText array("Kelvarpool:" + host);
    target = nullptr;
    expect_status(plugin().open_target_server(source, array.get(), &target), STS_E_INTERNAL);
    const GuardedText dotted("copan:arr1." + host);
    const int32_t dotted_status = plugin().open_target_server(source, dotted.get(), &target);
    if (!is_refused_long_host(host, dotted_status))
        expect_status(dotted_status, 0);
}

CONFORMANCE_TEST("server-target.ten-times", "Ten targets of one source live side by side.") {
    write_example_configs();
    const auto source = open_server(new_session(), "Kelvarpool:nodeA");
    for (int round = 0; round < 10; ++round) {
        sts_server_handle_t target = nullptr;
        require_status(plugin().open_target_server(source, "copan:arr1", &target), 0);
        expect_texts("LSUs", list_lsus(target), {"vol1", "vol2", "vol1"});
    }
}

}  // namespace conformance
