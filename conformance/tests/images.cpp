// The five image calls that name an LSU.
#include <unistd.h>

#include "conformance/calls/configuration.h"
#include "conformance/calls/entry_points.h"
#include "conformance/calls/image_calls.h"
#include "conformance/report/test_case.h"
#include "conformance/watch/expect.h"
#include "conformance/watch/resource_registry.h"

namespace conformance {

namespace {

// Addresses that only travel through: following one stops the process.
const auto definition = static_cast<const sts_image_definition_t *>(token(0x222));
const auto out_image = static_cast<sts_image_handle_t *>(token(0x333));
const auto out_info = static_cast<sts_image_info_t *>(token(0x444));
constexpr uint32_t flags = 0x89abcdef;

struct Family {
    const char *id;
    const char *entry_point;
    const char *traced_as;
    const char *library_function;
    std::function<int32_t(const stsp_lsu_v7_t *)> call;
    std::vector<uint64_t> arguments;  // of the library's function behind the server name
};

const std::vector<Family> &families() {
    static const std::vector<Family> list = {
        {"create-image",
         "stspi_create_image",
         "stspi_create_image",
         "stsimg_create_image",
         [](const stsp_lsu_v7_t *lsu) { return plugin().create_image(lsu, definition, flags, out_image); },
         {0x222, flags, 0x333}},
        {"open-image",
         "stspi_open_image",
         "stspi_open_image",
         "stsimg_open_image",
         [](const stsp_lsu_v7_t *lsu) { return plugin().open_image(lsu, definition, flags, out_image); },
         {0x222, flags, 0x333}},
        {"delete-image",
         "stspi_delete_image",
         "stspi_delete_image",
         "stsimg_delete_image",
         [](const stsp_lsu_v7_t *lsu) { return plugin().delete_image(lsu, definition, flags); },
         {0x222, flags}},
        {"open-image-list",
         "stspi_open_image_list",
         "stspi_open_image_list",
         "stsimg_open_image_list",
         [](const stsp_lsu_v7_t *lsu) { return plugin().open_image_list(lsu, flags, out_image); },
         {flags, 0x333}},
        {"get-image-prop-byname",
         "stspi_get_image_prop_byname",
         "stspi_delete_image",
         "stsimg_get_image_prop_byname",
         [](const stsp_lsu_v7_t *lsu) { return plugin().get_image_prop_byname(lsu, definition, out_info); },
         {0x222, 0x444}}};
    return list;
}

void expect_library_call(const Family &family, const std::string &lsu_text, const std::string &server_name) {
    const ImageCall call = take_image_call(family.library_function);
    expect_text("LSU text", call.lsu_text, lsu_text);
    expect_number("second argument", call.arguments[1], 0);
    expect_text("server name", call.server_name, server_name);
    for (size_t i = 0; i < family.arguments.size(); ++i) {
        // Of a 32-bit argument only the low half of its register counts.
        const uint64_t mask = family.arguments[i] == flags ? 0xffffffff : ~uint64_t{0};
        expect_number(fmt::format("argument {}", i + 4), call.arguments[i + 3] & mask, family.arguments[i]);
    }
}

int32_t call_logged(const Family &family, Session &session, const char *server, const char *name) {
    sts_server_handle_t handle = nullptr;
    plugin().open_server(session.pointer(), server, &handle);
    session.clear();
    return family.call(lsu(handle, name));
}

void disk_array(const Family &family) {
    write_example_configs();
    for (const auto &[server, host] :
         {std::pair{"Kelvarpool:nodeA", "nodeA"}, std::pair{"Kelvarpool:some host", "some host"}})
        for (const char *name : {"enc1", "nosuchlsu", "", "a:b", "/x/y", "%s"})
            expect_under_every_mask(0, {entering(family.traced_as), leaving(family.traced_as)},
                                    [&, opened = server, wanted = host](Session &session) {
                                        const int32_t status = call_logged(family, session, opened, name);
                                        expect_library_call(family, name, wanted);
                                        return status;
                                    });
}

void other_handles(const Family &family) {
    write_example_configs();
    for (const auto handle :
         {create_server(new_session(), "Kelvarpool:nodeA", {"h1"}),
          create_server(new_session(), "Kelvarpool:nodeA", {}), open_server(new_session(), "Kelvarpool:")}) {
        expect_status(family.call(lsu(handle, "some lsu")), 0);
        expect_library_call(family, "some lsu", "");
    }
}

void copan(const Family &family) {
    write_example_configs();
    const std::string path = work_directory() + "/cop/vol2";
    owns_directory(work_directory() + "/cop");
    owns_directory(path);
    expect_under_every_mask(0,
                            {entering(family.traced_as), trace("Replacing LSU name by its path, original lsu_name is "),
                             trace("vol2"), trace("new lsu_name is "), trace(path), leaving(family.traced_as)},
                            [&](Session &session) {
                                const int32_t status = call_logged(family, session, "copan:arr1.lab", "vol2");
                                expect_library_call(family, path, "arr1.lab");
                                return status;
                            });
}

void copan_unknown(const Family &family) {
    write_example_configs();
    for (const char *name : {"vol9", "", "VOL1", "vol", "vol1 ", "/"})
        expect_under_every_mask(STS_E_NO_SERVER, {entering(family.traced_as), leaving(family.traced_as)},
                                [&](Session &session) { return call_logged(family, session, "copan:arr1", name); });
    expect_number("calls of the image library", take_image_calls().size(), 0);
}

// What comes of an LSU without a directory is the plug-in's choice: an empty LSU text or any other, or a refusal.
void expect_any_library_call(const Family &family, int32_t status) {
    const auto calls = take_image_calls();
    if (calls.size() == 1 && calls.front().function == family.library_function) {
        expect_status(status, 0);
        expect_number("second argument", calls.front().arguments[1], 0);
        expect_text("server name", calls.front().server_name, "arr1");
        if (!calls.front().lsu_text.empty())
            warn("LSU text of an LSU without a directory", "an empty one", quoted_bytes(calls.front().lsu_text));
        return;
    }
    expect_number("calls of the image library", calls.size(), 0);
    if (expect_true(status != 0, "status without a call of the image library", "a refusal", "0"))
        warn("status for an LSU without a directory", "0, with an empty LSU text", status_text(status));
}

void copan_without_storage(const Family &family) {
    write_config("copan", "STORAGE_SERVER = arr1;\nVOLUMES = vol1;\n");
    const std::vector<LogLine> before = {entering(family.traced_as),
                                         trace("Replacing LSU name by its path, original lsu_name is "), trace("vol1"),
                                         unmasked("m_storage_dir directory creation failed: "), unmasked("")};
    for_every_mask([&](Session &session) {
        expect_any_library_call(family, call_logged(family, session, "copan:arr1", "vol1"));
        session.expect_log_around(before, {leaving(family.traced_as)});
        session.expect_unwritten();
    });
}

void copan_long_path(const Family &family) {
    // A storage directory so long that no path below it fits 1,023 bytes, and still one that can be made.
    std::string directory = work_directory();
    while (directory.size() + 2 < 1004)
        directory += "/.";
    directory += "/" + std::string(1010 - directory.size() - 1, 'c');
    const std::string volume(30, 'v');
    write_config("copan", "STORAGE_SERVER=arr1;\nVOLUMES=" + volume + ";\nSTORAGE_DIR=" + directory + ";\n");
    const std::string place = fmt::format("{}/{}", directory, volume);
    for (const std::string &path : {directory, place})
        register_resource(nullptr, path, [path] { rmdir(path.c_str()); });
    const auto handle = open_server(new_session(), "copan:arr1");
    expect_any_library_call(family, family.call(lsu(handle, volume)));
}

void status_unchanged(const Family &family) {
    write_example_configs();
    owns_directory(work_directory() + "/cop");
    owns_directory(work_directory() + "/cop/vol1");
    for (const int32_t status : {1, -1, static_cast<int32_t>(STS_E_NOT_FOUND), 0x12345678}) {
        images().answer = [status](const ImageCall &) { return status; };
        expect_under_every_mask(status, {entering(family.traced_as), leaving(family.traced_as)},
                                [&](Session &session) { return call_logged(family, session, "Kelvarpool:x", "enc1"); });
        expect_status(family.call(lsu(open_server(new_session(), "copan:arr1"), "vol1")), status);
    }
}

void null_lsu(const Family &family) {
    expect_status(family.call(nullptr), STS_E_INVALID_PARAMETER);
    expect_status(family.call(lsu(nullptr, "enc1")), STS_E_INVALID_PARAMETER);
    expect_number("calls of the image library", take_image_calls().size(), 0);
}

void unterminated(const Family &family) {
    write_example_configs();
    GuardedMemory memory(sizeof(stsp_lsu_v7_t), 'n');
    auto *record = static_cast<stsp_lsu_v7_t *>(memory.data());
    record->server = open_server(new_session(), "Kelvarpool:nodeA");
    const int32_t status = family.call(record);
    const auto calls = take_image_calls();
    if (calls.empty() && status != 0) {
        warn("status for a name without a terminator", "0, with the name handed on", status_text(status));
    } else {
        expect_status(status, 0);
        require_true(calls.size() == 1, "calls of the image library", "1", std::to_string(calls.size()));
        const std::string &text = calls.front().lsu_text;
        expect_true(
            text.size() + 1 >= STS_LSU_NAME_SIZE && text == std::string(STS_LSU_NAME_SIZE, 'n').substr(0, text.size()),
            "LSU text", "the 1,024 bytes of the field, or one less", fmt::format("{} bytes", text.size()));
    }
    record->server = open_server(new_session(), "copan:arr1");
    expect_true(family.call(record) != 0, "status on a Copan array", "a refusal", "0");
    expect_number("calls of the image library", take_image_calls().size(), 0);
}

void bracketed(const Family &family) {
    write_example_configs();
    Session &session = new_session();
    const auto handle = open_server(session, "Kelvarpool:nodeA");
    session.clear();
    images().answer = [&](const ImageCall &) {
        expect_number("messages sent when the image library is called", session.messages().size(), 1);
        return 0;
    };
    expect_status(family.call(lsu(handle, "enc1")), 0);
    expect_number("messages sent in all", session.messages().size(), 2);
}

void caller_record(const Family &family) {
    write_example_configs();
    owns_directory(work_directory() + "/cop");
    owns_directory(work_directory() + "/cop/vol1");
    GuardedMemory memory(sizeof(stsp_lsu_v7_t), 0x7f);
    auto *record = static_cast<stsp_lsu_v7_t *>(memory.data());
    record->server = open_server(new_session(), "copan:arr1");
    put_text(record->lsu_name, "vol1");
    memory.make_read_only();
    for (int round = 0; round < 10; ++round)
        expect_status(family.call(record), 0);
    expect_number("calls of the image library", take_image_calls().size(), 10);
}

const TestFamily tests([] {
    for (const Family &family : families()) {
        const std::string call = family.entry_point;
        const auto add = [&](const char *id, const std::string &demand, void (*body)(const Family &)) {
            register_test(
                {fmt::format("image.{}.{}", family.id, id), demand, [body, &family] { body(family); }, false});
        };
        add("disk-array",
            call +
                " hands on the LSU name, a null, the host part and its own arguments; only the trace lines are logged.",
            disk_array);
        add("other-handles", call + " on a handle without a host name hands on the LSU name and an empty server name.",
            other_handles);
        add("copan",
            call + " on a Copan array replaces the LSU name by its directory, and says so in four trace messages.",
            copan);
        add("copan-unknown", call + " on a Copan array without that LSU gives STS_E_NO_SERVER and reaches no library.",
            copan_unknown);
        add("copan-without-storage",
            call + " on a Copan array without a storage directory hands on an empty LSU text, or is refused.",
            copan_without_storage);
        add("copan-long-path", call + " hands on an empty LSU text for a directory that does not fit, or is refused.",
            copan_long_path);
        add("status", call + " returns the image library's status unchanged.", status_unchanged);
        add("null-lsu", call + " refuses a null LSU and a null handle in it with STS_E_INVALID_PARAMETER.", null_lsu);
        add("unterminated-name", call + " reads a name that fills its field to the end of the field and no further.",
            unterminated);
        add("bracketed", call + " calls the library between its entering and its leaving line.", bracketed);
        add("caller-record", call + " never writes the caller's LSU record, ten times over.", caller_record);
    }
});

}  // namespace

CONFORMANCE_TEST("image.create-image.null-definition-or-out",
                 "stspi_create_image refuses a null definition and a null out-address, untraced.") {
    write_example_configs();
    for (const bool is_definition : {true, false})
        expect_under_every_mask(STS_E_INVALID_PARAMETER, {}, [&](Session &session) {
            const auto handle = open_server(session, "Kelvarpool:nodeA");
            session.clear();
            return is_definition ? plugin().create_image(lsu(handle, "enc1"), nullptr, flags, out_image)
                                 : plugin().create_image(lsu(handle, "enc1"), definition, flags, nullptr);
        });
    expect_number("calls of the image library", take_image_calls().size(), 0);
}

CONFORMANCE_TEST("image.others.null-arguments-handed-on",
                 "All other image calls leave null definitions and out-addresses to the image library.") {
    write_example_configs();
    const auto handle = open_server(new_session(), "Kelvarpool:nodeA");
    expect_status(plugin().open_image(lsu(handle, "enc1"), nullptr, 1, nullptr), 0);
    expect_status(plugin().delete_image(lsu(handle, "enc1"), nullptr, 0), 0);
    expect_status(plugin().open_image_list(lsu(handle, "enc1"), 0, nullptr), 0);
    expect_status(plugin().get_image_prop_byname(lsu(handle, "enc1"), nullptr, nullptr), 0);
    const auto calls = take_image_calls();
    require_true(calls.size() == 4, "calls of the image library", "4", std::to_string(calls.size()));
    expect_number("definition of open", calls[0].arguments[3], 0);
    expect_number("out-address of open", calls[0].arguments[5], 0);
    expect_number("definition of delete", calls[1].arguments[3], 0);
    expect_number("out-address of the list", calls[2].arguments[4], 0);
    expect_number("out-address of the properties", calls[3].arguments[4], 0);
}

CONFORMANCE_TEST("image.out-arguments-reach-caller",
                 "What the image library stores through an out-address reaches the caller.") {
    write_example_configs();
    const auto handle = open_server(new_session(), "Kelvarpool:nodeA");
    images().answer = [](const ImageCall &call) {
        *static_cast<void **>(token(call.arguments[call.function == "stsimg_open_image_list" ? 4 : 5])) = token(0x777);
        return 0;
    };
    sts_image_handle_t image = nullptr;
    expect_status(plugin().create_image(lsu(handle, "enc1"), definition, 0, &image), 0);
    expect_number("image handle", as_register(image), 0x777);
    image = nullptr;
    expect_status(plugin().open_image(lsu(handle, "enc1"), definition, 1, &image), 0);
    expect_number("image handle", as_register(image), 0x777);
    sts_image_list_handle_t list = nullptr;
    expect_status(plugin().open_image_list(lsu(handle, "enc1"), 0, &list), 0);
    expect_number("list handle", as_register(list), 0x777);
}

CONFORMANCE_TEST("image.copan.messages-before-the-library",
                 "On a Copan array the path is told before the image library is called, the leaving line after.") {
    write_example_configs();
    const std::string path = work_directory() + "/cop/vol1";
    owns_directory(work_directory() + "/cop");
    owns_directory(path);
    for (const Family &family : families()) {
        Session &session = new_session();
        const auto handle = open_server(session, "copan:arr1");
        session.clear();
        images().answer = [&](const ImageCall &) {
            session.expect_log({entering(family.traced_as),
                                trace("Replacing LSU name by its path, original lsu_name is "), trace("vol1"),
                                trace("new lsu_name is "), trace(path)});
            return 0;
        };
        expect_status(family.call(lsu(handle, "vol1")), 0);
        images().answer = nullptr;
        session.expect_log({leaving(family.traced_as)});
    }
}

}  // namespace conformance
