// Arguments that nobody should pass.
#include "conformance/calls/configuration.h"
#include "conformance/calls/entry_points.h"
#include "conformance/calls/image_calls.h"
#include "conformance/report/test_case.h"
#include "conformance/tests/long_host.h"
#include "conformance/tests/part_of_id.h"
#include "conformance/watch/expect.h"
#include "conformance/watch/resource_registry.h"

namespace conformance {

namespace {

struct NullCall {
    const char *entry_point;
    int32_t status;
};

const TestFamily all_null([] {
    for (const NullCall &call :
         std::initializer_list<NullCall>{{"stspi_init", STS_E_VERSION},
                                         {"stspi_init2", STS_E_VERSION},
                                         {"stspi_claim", STS_E_NOT_CLAIMED},
                                         {"stspi_ioctl", STS_E_NOT_SUPPORTED},
                                         {"stspi_open_server", STS_E_INVALID_PARAMETER},
                                         {"stspi_create_server", STS_E_INVALID_PARAMETER},
                                         {"stspi_open_target_server", STS_E_INVALID_PARAMETER},
                                         {"stspi_close_server", STS_E_INVALID_PARAMETER},
                                         {"stspi_get_server_prop", STS_E_INVALID_PARAMETER},
                                         {"stspi_get_server_prop_byname", STS_E_INVALID_PARAMETER},
                                         {"stspi_open_lsu_list", STS_E_INVALID_PARAMETER},
                                         {"stspi_open_dynamic_lsu_list", STS_E_INVALID_PARAMETER},
                                         {"stspi_list_lsu", STS_E_INVALID_PARAMETER},
                                         {"stspi_close_lsu_list", STS_E_INVALID_PARAMETER},
                                         {"stspi_get_lsu_prop_byname", STS_E_INVALID_PARAMETER},
                                         {"stspi_mount_lsu", STS_E_INVALID_PARAMETER},
                                         {"stspi_create_image", STS_E_INVALID_PARAMETER},
                                         {"stspi_open_image", STS_E_INVALID_PARAMETER},
                                         {"stspi_delete_image", STS_E_INVALID_PARAMETER},
                                         {"stspi_open_image_list", STS_E_INVALID_PARAMETER},
                                         {"stspi_get_image_prop_byname", STS_E_INVALID_PARAMETER},
                                         {"stspi_copy_extent", STS_E_INVALID_PARAMETER},
                                         {"stspi_include_in_image", STS_E_INVALID_PARAMETER}})
        register_test(
            {"hostile.all-null." + part_of_id(call.entry_point),
             std::string(call.entry_point) + " with nothing but nulls is refused, ten times, and reaches no library.",
             [call] {
                 for (int round = 0; round < 10; ++round)
                     expect_status(plugin().raw(call.entry_point, {}), call.status);
                 expect_number("calls of the image library", take_image_calls().size(), 0);
             },
             false});
});

std::string host_part(const std::string &server_name) {
    return server_name.substr(server_name.find(':') + 1);  // the whole name without a ':'
}

// A handle was stored and closes with 0; a host part that does not fit may have been refused without one.
void expect_closes(sts_server_handle_t handle, const std::string &host, int32_t status) {
    if (handle == nullptr && is_refused_long_host(host, status))
        return;
    require_true(handle != nullptr, "stored handle", "a handle", "null");
    expect_status(plugin().close_server(handle), 0);
}

// Names that have tripped programs before.
const std::vector<std::string> &odd_names() {
    static const std::vector<std::string> names = {
        "",
        ":",
        "::",
        "%s%s%s%n",
        "../../etc/passwd",
        std::string(255, 'a'),
        std::string(1023, 'b'),
        "a\nb",
        "\x01\x02\xff\xfe",
        "name with blanks",
        std::string(500, ':'),
        "Kelvarpool:enc1",
        "#UDID###",
    };
    return names;
}

}  // namespace

CONFORMANCE_TEST("hostile.odd-lsu-names.disk-array",
                 "No LSU name brings a disk array down; each call says its status and the array still answers.") {
    write_example_configs();
    const auto handle = open_server(new_session(), "Kelvarpool:nodeA");
    owns_directory(work_directory() + "/s1");
    for (const std::string &name : odd_names()) {
        const auto *record = lsu(handle, name);
        Watched<sts_lsu_info_v9_t> info;
        const int32_t status = plugin().get_lsu_prop_byname(record, info.get());
        expect_true(status == STS_E_NO_SERVER || status == STS_E_INVALID_PARAMETER,
                    "status for " + quoted_bytes(name, 40), "an error of the interface", status_text(status));
        sts_lsu_list_handle_t list = nullptr;
        expect_status(plugin().open_dynamic_lsu_list(record, &list), STS_E_NO_SERVER);
        expect_status(plugin().open_image_list(record, 0, nullptr), 0);
        expect_text("LSU text", take_image_call("stsimg_open_image_list").lsu_text, name);
    }
    // As volumes: only names that no directory can have.
    const GuardedMemory result(STS_MOUNT_RESULT_SIZE);
    for (const std::string &volume : {std::string("no/such/x"), std::string(300, 'v'), std::string(1000, 'v')})
        expect_status(
            plugin().mount_lsu(lsu(handle, "enc1:" + volume), "/tmp/never", 1, static_cast<char *>(result.data())),
            STS_E_SYSTEM);
    Watched<sts_lsu_info_v9_t> info;
    expect_status(plugin().get_lsu_prop_byname(lsu(handle, "enc1"), info.get()), 0);
}

CONFORMANCE_TEST("hostile.odd-server-names", "No server name brings the plug-in down, claimed or not.") {
    write_example_configs();
    for (const std::string &name : odd_names())
        for (const std::string &full : {name, "Kelvarpool:" + name, "copan:" + name, "copan:arr1." + name}) {
            const GuardedText text(full);
            plugin().claim(text.get());
            Watched<sts_server_info_t> info;
            plugin().get_server_prop_byname(new_session().pointer(), text.get(), info.get());
            sts_server_handle_t handle = nullptr;
            int32_t status = plugin().open_server(new_session().pointer(), text.get(), &handle);
            expect_closes(handle, host_part(full), status);
            const auto hosts = host_records({"h1", name});
            handle = nullptr;
            status = plugin().create_server(new_session().pointer(), text.get(), hosts.data(), 2, &handle);
            expect_closes(handle, host_part(full), status);
        }
}

CONFORMANCE_TEST("hostile.null-session-everywhere", "With a null session every call does its work and logs nothing.") {
    write_example_configs();
    Session &session = new_null_session();
    const auto array = create_server(session, "Kelvarpool:nodeA", {"h1"});
    const auto opened = open_server(session, "Kelvarpool:nodeA");
    const auto copan = open_server(session, "copan:arr1");
    sts_server_handle_t target = nullptr;
    expect_status(plugin().open_target_server(copan, "copan:arr1", &target), 0);
    sts_server_handle_t refused = nullptr;
    expect_status(plugin().open_target_server(copan, "Kelvarpool:x", &refused), STS_E_INTERNAL);
    sts_server_handle_t missing = nullptr;
    expect_status(plugin().open_server(nullptr, "copan:other", &missing), STS_E_INTERNAL);
    expect_texts("pools", list_lsus(array), {"enc2", "enc1"});
    expect_texts("LSUs", list_lsus(target), {"vol1", "vol2", "vol1"});
    expect_texts("volumes", list_volumes(opened, "enc2"), {"e1", "e2"});
    sts_lsu_list_handle_t list = nullptr;
    expect_status(plugin().open_lsu_list(opened, &list), STS_E_INVALID_PARAMETER);
    expect_status(plugin().open_dynamic_lsu_list(lsu(copan, "x"), &list), STS_E_INVALID_PARAMETER);
    Watched<sts_lsu_info_v9_t> info;
    expect_status(plugin().get_lsu_prop_byname(lsu(opened, "enc1"), info.get()), 0);
    expect_status(plugin().get_lsu_prop_byname(lsu(opened, "x:y"), info.get()), STS_E_NO_SERVER);
    expect_status(plugin().get_lsu_prop_byname(lsu(opened, "/no/such"), info.get()), STS_E_SYSTEM);
    expect_status(plugin().get_lsu_prop_byname(lsu(opened, "enc1"), nullptr), STS_E_INVALID_PARAMETER);
    owns_directory(work_directory() + "/cop");
    owns_directory(work_directory() + "/cop/vol1");
    expect_status(plugin().open_image_list(lsu(copan, "vol1"), 0, nullptr), 0);
    const GuardedMemory result(STS_MOUNT_RESULT_SIZE);
    expect_status(plugin().mount_lsu(lsu(opened, "nosuch:x"), "/tmp/never", 1, static_cast<char *>(result.data())),
                  STS_E_SYSTEM);
}

}  // namespace conformance
