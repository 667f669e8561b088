// stspi_open_lsu_list, stspi_open_dynamic_lsu_list, stspi_list_lsu, stspi_close_lsu_list.
#include "conformance/calls/configuration.h"
#include "conformance/calls/entry_points.h"
#include "conformance/calls/image_calls.h"
#include "conformance/report/test_case.h"
#include "conformance/watch/expect.h"
#include "conformance/watch/resource_registry.h"

namespace conformance {

namespace {

constexpr char refusal[] = "For ZEPH plugins list of hosts is expected for getPoolLSUList";
constexpr char dynamic_refusal[] = "open_dynamic_lsu_list is not supported for non-ZEPH storages";

std::vector<std::string> pools(const std::string &config, const std::vector<std::string> &hosts) {
    write_config("Kelvarpool", config);
    return list_lsus(create_server(new_session(), "Kelvarpool:nodeA", hosts));
}

sts_lsu_list_handle_t open_list(sts_server_handle_t handle) {
    sts_lsu_list_handle_t list = nullptr;
    require_status(plugin().open_lsu_list(handle, &list), 0);
    return list;
}

// One step of a list into a buffer filled with a pattern; all 1024 bytes are checked.
void expect_next(sts_lsu_list_handle_t list, const std::string &name) {
    struct Name {
        char text[STS_LSU_NAME_SIZE];
    };
    Watched<Name> out;
    expect_status(plugin().list_lsu(list, out->text), 0);
    out.expect_changed("name buffer", [&](Name &expected) { put_text(expected.text, name); });
}

void expect_end(sts_lsu_list_handle_t list) {
    struct Name {
        char text[STS_LSU_NAME_SIZE];
    };
    for (int round = 0; round < 3; ++round) {
        Watched<Name> out;
        expect_status(plugin().list_lsu(list, out->text), STS_E_NO_MORE_ENTRIES);
        out.expect_untouched("name buffer");
    }
}

}  // namespace

// ---- pools ---------------------------------------------------------------------------------------------------------

CONFORMANCE_TEST("lsu-list.pool.reverse-order",
                 "Pools come in the reverse of the order in which the file gives them.") {
    write_config("Kelvarpool",
                 "ENCLOSURE = dg1;\n\tHOSTS = h;\nENCLOSURE = dg2;\n\tHOSTS = h;\nENCLOSURE = dg3;\n\tHOSTS = h;\n");
    const auto list = open_list(create_server(new_session(), "Kelvarpool:nodeA", {"h"}));
    expect_next(list, "dg3");
    expect_next(list, "dg2");
    expect_next(list, "dg1");
    expect_end(list);
}

CONFORMANCE_TEST("lsu-list.pool.by-host", "A pool is listed when its host set holds the host.") {
    const std::string config =
        "ENCLOSURE = A;\n\tHOSTS = h1;\nENCLOSURE = B;\n\tHOSTS = h2;\nENCLOSURE = C;\n\tHOSTS = h2,h1;\n";
    write_config("Kelvarpool", config);
    for (const auto &[hosts, names] : std::vector<std::pair<std::vector<std::string>, std::vector<std::string>>>{
             {{"h1"}, {"C", "A"}}, {{"h2"}, {"C", "B"}}, {{"h3"}, {}}, {{"H1"}, {}}, {{"h1 "}, {}}, {{""}, {}}})
        expect_texts("pools of " + quoted_bytes(hosts.front()),
                     list_lsus(create_server(new_session(), "Kelvarpool:nodeA", hosts)), names);
}

CONFORMANCE_TEST("lsu-list.pool.any-host", "One host of the handle in a pool's set is enough.") {
    expect_texts("pools", pools("ENCLOSURE = A;\n\tHOSTS = h1,h2;\nENCLOSURE = B;\n\tHOSTS = h1;\n", {"h1", "h2"}),
                 {"B", "A"});
    remove_config("Kelvarpool");
    expect_texts("pools", pools("ENCLOSURE = A;\n\tHOSTS = h1,h2;\nENCLOSURE = B;\n\tHOSTS = h9;\n", {"x", "h2"}),
                 {"A"});
}

CONFORMANCE_TEST("lsu-list.pool.repeated-name", "Pools of one name are listed once.") {
    expect_texts(
        "pools",
        pools("ENCLOSURE = A;\n\tHOSTS = h;\nENCLOSURE = B;\n\tHOSTS = h;\nENCLOSURE = A;\n\tHOSTS = h;\n", {"h"}),
        {"B", "A"});
}

CONFORMANCE_TEST("lsu-list.pool.repeated-host", "A host named twice lists no pool twice.") {
    expect_texts("pools", pools("ENCLOSURE = A;\n\tHOSTS = h;\n", {"h", "h", "h"}), {"A"});
}

CONFORMANCE_TEST("lsu-list.pool.without-hosts", "A pool without a host set is listed for nobody.") {
    expect_texts("pools", pools("ENCLOSURE = A;\nENCLOSURE = B;\n\tHOSTS = h;\n", {"h", ""}), {"B"});
}

CONFORMANCE_TEST("lsu-list.pool.empty-array", "An array without pools gives an empty list.") {
    write_config("Kelvarpool", "MOUNT_BEHAVIOR = SUCCESS;\n");
    const auto list = open_list(create_server(new_session(), "Kelvarpool:nodeA", {"h"}));
    expect_end(list);
    expect_status(plugin().close_lsu_list(list), 0);
}

CONFORMANCE_TEST("lsu-list.pool.many", "Two thousand pools are all listed, in reverse order.") {
    std::string config;
    std::vector<std::string> names;
    for (int i = 0; i < 2000; ++i) {
        config += fmt::format("ENCLOSURE = pool{};\n\tHOSTS = h;\n", i);
        names.insert(names.begin(), fmt::format("pool{}", i));
    }
    expect_texts("pools", pools(config, {"h"}), names);
}

CONFORMANCE_TEST("lsu-list.pool.single-host-handle",
                 "A single-host handle is refused with a message; the list handle is stored all the same.") {
    write_example_configs();
    expect_under_every_mask(STS_E_INVALID_PARAMETER,
                            {entering("stspi_open_lsu_list"), error(refusal), leaving("stspi_open_lsu_list")},
                            [](Session &session) {
                                const auto handle = open_server(session, "Kelvarpool:nodeA");
                                session.clear();
                                sts_lsu_list_handle_t list = nullptr;
                                const int32_t status = plugin().open_lsu_list(handle, &list);
                                expect_true(list != nullptr, "stored list", "a list", "null");
                                return status;
                            });
}

CONFORMANCE_TEST("lsu-list.open.no-server",
                 "A handle without a server object gives STS_E_INTERNAL; the list handle is stored all the same.") {
    write_example_configs();
    for (const char *name : {"Kelvarpool:", "nobody:x", "copan:other"})
        expect_under_every_mask(STS_E_INTERNAL, {entering("stspi_open_lsu_list"), leaving("stspi_open_lsu_list")},
                                [&](Session &session) {
                                    sts_server_handle_t handle = nullptr;
                                    plugin().open_server(session.pointer(), name, &handle);
                                    session.clear();
                                    sts_lsu_list_handle_t list = nullptr;
                                    const int32_t status = plugin().open_lsu_list(handle, &list);
                                    expect_true(list != nullptr, "stored list", "a list", "null");
                                    return status;
                                });
}

CONFORMANCE_TEST("lsu-list.open.null-handle",
                 "A null server handle gives STS_E_INVALID_PARAMETER and stores nothing.") {
    sts_lsu_list_handle_t list = nullptr;
    expect_status(plugin().open_lsu_list(nullptr, &list), STS_E_INVALID_PARAMETER);
    expect_status(plugin().open_lsu_list(nullptr, nullptr), STS_E_INVALID_PARAMETER);
    expect_true(list == nullptr, "stored list", "none", "a list");
}

CONFORMANCE_TEST("lsu-list.open.null-out", "A null out-address gives STS_E_INVALID_PARAMETER.") {
    write_example_configs();
    const auto pools = create_server(new_session(), "Kelvarpool:nodeA", {"h1"});
    const auto copan = open_server(new_session(), "copan:arr1");
    const auto nothing = open_server(new_session(), "Kelvarpool:");
    for (const auto handle : {pools, copan, nothing})
        expect_status(plugin().open_lsu_list(handle, nullptr), STS_E_INVALID_PARAMETER);
    expect_texts("pools", list_lsus(pools), {"enc2", "enc1"});
}

CONFORMANCE_TEST("lsu-list.open.log", "Opening a pool list or a Copan list sends the two trace lines.") {
    write_example_configs();
    const auto open_logged = [](Session &session, sts_server_handle_t handle) {
        session.clear();
        sts_lsu_list_handle_t list = nullptr;
        return plugin().open_lsu_list(handle, &list);
    };
    const std::vector<LogLine> lines = {entering("stspi_open_lsu_list"), leaving("stspi_open_lsu_list")};
    expect_under_every_mask(0, lines, [&](Session &session) {
        return open_logged(session, create_server(session, "Kelvarpool:nodeA", {"h1"}));
    });
    expect_under_every_mask(0, lines,
                            [&](Session &session) { return open_logged(session, open_server(session, "copan:arr1")); });
}

CONFORMANCE_TEST("lsu-list.open.ignored-argument", "The second argument is not looked at.") {
    write_example_configs();
    const auto handle = create_server(new_session(), "Kelvarpool:nodeA", {"h1"});
    for (const uint64_t value : {0ULL, 1ULL, 0xffffffffffffffffULL}) {
        plugin().set_ignored(token(value));
        expect_texts("pools", list_lsus(handle), {"enc2", "enc1"});
    }
}

CONFORMANCE_TEST("lsu-list.list.log", "Every step sends the two trace lines, also the one at the end.") {
    write_example_configs();
    for (const bool is_copan : {false, true})
        for (const bool at_end : {false, true})
            expect_under_every_mask(at_end ? static_cast<int32_t>(STS_E_NO_MORE_ENTRIES) : 0,
                                    {entering("stspi_list_lsu"), leaving("stspi_list_lsu")}, [&](Session &session) {
                                        const auto handle = is_copan
                                                                ? open_server(session, "copan:arr1")
                                                                : create_server(session, "Kelvarpool:nodeA", {"h1"});
                                        const auto list = open_list(handle);
                                        if (at_end)
                                            names_of(list);
                                        session.clear();
                                        const GuardedMemory name(STS_LSU_NAME_SIZE);
                                        return plugin().list_lsu(list, static_cast<char *>(name.data()));
                                    });
}

CONFORMANCE_TEST("lsu-list.list.null-list", "A null list gives STS_E_INVALID_PARAMETER and writes nothing.") {
    struct Name {
        char text[STS_LSU_NAME_SIZE];
    };
    Watched<Name> name;
    expect_status(plugin().list_lsu(nullptr, name->text), STS_E_INVALID_PARAMETER);
    name.expect_untouched("name buffer");
    expect_status(plugin().list_lsu(nullptr, nullptr), STS_E_INVALID_PARAMETER);
}

CONFORMANCE_TEST("lsu-list.list.null-buffer", "A null name buffer gives STS_E_INVALID_PARAMETER and loses no entry.") {
    write_example_configs();
    const auto array = create_server(new_session(), "Kelvarpool:nodeA", {"h1"});
    const auto pool_list = open_list(array);
    expect_status(plugin().list_lsu(pool_list, nullptr), STS_E_INVALID_PARAMETER);
    expect_texts("pools", names_of(pool_list), {"enc2", "enc1"});
    const auto copan_list = open_list(open_server(new_session(), "copan:arr1"));
    expect_status(plugin().list_lsu(copan_list, nullptr), STS_E_INVALID_PARAMETER);
    expect_texts("LSUs", names_of(copan_list), {"vol1", "vol2", "vol1"});
    sts_lsu_list_handle_t volumes = nullptr;
    require_status(plugin().open_dynamic_lsu_list(lsu(array, "enc2"), &volumes), 0);
    expect_status(plugin().list_lsu(volumes, nullptr), STS_E_INVALID_PARAMETER);
    expect_texts("volumes", names_of(volumes), {"e1", "e2"});
}

CONFORMANCE_TEST("lsu-list.list.of-failed-open",
                 "A list whose opening failed lists nothing, gives STS_E_INVALID_PARAMETER and can be closed.") {
    write_example_configs();
    const auto single = open_server(new_session(), "Kelvarpool:nodeA");
    const auto nothing = open_server(new_session(), "Kelvarpool:");
    for (const auto handle : {single, nothing}) {
        sts_lsu_list_handle_t list = nullptr;
        plugin().open_lsu_list(handle, &list);
        require_true(list != nullptr, "stored list", "a list", "null");
        const GuardedMemory name(STS_LSU_NAME_SIZE);
        expect_status(plugin().list_lsu(list, static_cast<char *>(name.data())), STS_E_INVALID_PARAMETER);
        expect_status(plugin().close_lsu_list(list), 0);
    }
    sts_lsu_list_handle_t list = nullptr;
    expect_status(plugin().open_dynamic_lsu_list(lsu(single, "nosuchpool"), &list), STS_E_NO_SERVER);
    require_true(list != nullptr, "stored list", "a list", "null");
    const GuardedMemory name(STS_LSU_NAME_SIZE);
    expect_status(plugin().list_lsu(list, static_cast<char *>(name.data())), STS_E_INVALID_PARAMETER);
    expect_status(plugin().close_lsu_list(list), 0);
}

CONFORMANCE_TEST("lsu-list.list.after-end", "After the end every further step says so again.") {
    write_example_configs();
    const auto list = open_list(create_server(new_session(), "Kelvarpool:nodeA", {"h1"}));
    names_of(list);
    for (int round = 0; round < 10; ++round)
        expect_end(list);
}

CONFORMANCE_TEST("lsu-list.several-at-once",
                 "Lists of one handle each have their own place, also when opened and closed crosswise.") {
    write_example_configs();
    const auto handle = create_server(new_session(), "Kelvarpool:nodeA", {"h1"});
    const auto first = open_list(handle);
    expect_next(first, "enc2");
    const auto second = open_list(handle);
    expect_next(second, "enc2");
    expect_next(first, "enc1");
    expect_next(second, "enc1");
    expect_end(first);
    expect_status(plugin().close_lsu_list(first), 0);
    const auto third = open_list(handle);
    expect_end(second);
    expect_next(third, "enc2");
    expect_status(plugin().close_lsu_list(second), 0);
    expect_next(third, "enc1");
    expect_end(third);
}

CONFORMANCE_TEST("lsu-list.snapshot-of-open",
                 "A list shows the pools as its server read them, whatever becomes of the file.") {
    write_example_configs();
    const auto handle = create_server(new_session(), "Kelvarpool:nodeA", {"h1"});
    const auto list = open_list(handle);
    remove_config("Kelvarpool");
    expect_texts("pools", names_of(list), {"enc2", "enc1"});
    expect_texts("pools", list_lsus(handle), {"enc2", "enc1"});
}

CONFORMANCE_TEST("lsu-list.ten-times", "Ten rounds on one handle list the same.") {
    write_example_configs();
    const auto array = create_server(new_session(), "Kelvarpool:nodeA", {"h1"});
    const auto copan = open_server(new_session(), "copan:arr1");
    for (int round = 0; round < 10; ++round) {
        expect_texts("pools", list_lsus(array), {"enc2", "enc1"});
        expect_texts("LSUs", list_lsus(copan), {"vol1", "vol2", "vol1"});
        expect_texts("volumes", list_volumes(array, "enc1"), {"d1", "d2", "d3", "d4"});
    }
}

CONFORMANCE_TEST("lsu-list.close.null-list", "Closing a null list gives STS_E_INVALID_PARAMETER.") {
    for (int round = 0; round < 10; ++round)
        expect_status(plugin().close_lsu_list(nullptr), STS_E_INVALID_PARAMETER);
}

CONFORMANCE_TEST("lsu-list.close.log", "Closing a list sends the two trace lines, listed or not.") {
    write_example_configs();
    for (const bool is_listed : {false, true})
        for (const bool is_copan : {false, true})
            expect_under_every_mask(
                0, {entering("stspi_close_lsu_list"), leaving("stspi_close_lsu_list")}, [&](Session &session) {
                    const auto handle = is_copan ? open_server(session, "copan:arr1")
                                                 : create_server(session, "Kelvarpool:nodeA", {"h1"});
                    const auto list = open_list(handle);
                    if (is_listed)
                        names_of(list);
                    session.clear();
                    return plugin().close_lsu_list(list);
                });
}

CONFORMANCE_TEST("lsu-list.close.of-failed-open.log",
                 "Closing a list that was refused for its handle's kind still sends the trace lines.") {
    write_example_configs();
    expect_under_every_mask(0, {entering("stspi_close_lsu_list"), leaving("stspi_close_lsu_list")},
                            [&](Session &session) {
                                const auto handle = open_server(session, "Kelvarpool:nodeA");
                                sts_lsu_list_handle_t list = nullptr;
                                plugin().open_lsu_list(handle, &list);
                                session.clear();
                                return plugin().close_lsu_list(list);
                            });
}

// ---- Copan ---------------------------------------------------------------------------------------------------------

CONFORMANCE_TEST("lsu-list.copan.file-order",
                 "A Copan array's LSUs come in file order, repeated names repeated, and byte for byte.") {
    write_example_configs();
    const auto list = open_list(open_server(new_session(), "copan:arr1"));
    expect_next(list, "vol1");
    expect_next(list, "vol2");
    expect_next(list, "vol1");
    expect_end(list);
}

CONFORMANCE_TEST("lsu-list.copan.none", "A Copan array without volumes gives an empty list.") {
    write_config("copan", "STORAGE_SERVER = arr1;\n");
    const auto list = open_list(open_server(new_session(), "copan:arr1"));
    expect_end(list);
}

CONFORMANCE_TEST("lsu-list.copan.empty-name", "A volume whose name is cut to nothing is listed with an empty name.") {
    write_config("copan", "STORAGE_SERVER = arr1;\nVOLUMES = a,#b ;\n");
    const auto list = open_list(open_server(new_session(), "copan:arr1"));
    expect_next(list, "a");
    expect_next(list, "");
    expect_end(list);
}

// ---- volumes of a pool ---------------------------------------------------------------------------------------------

CONFORMANCE_TEST(
    "lsu-list.dynamic.volumes",
    "A dynamic list gives the pool's volumes in file order; without a token their identifiers are their names.") {
    write_example_configs();
    for (const auto handle :
         {create_server(new_session(), "Kelvarpool:nodeA", {"h1"}), open_server(new_session(), "Kelvarpool:nodeA")}) {
        sts_lsu_list_handle_t list = nullptr;
        require_status(plugin().open_dynamic_lsu_list(lsu(handle, "enc1"), &list), 0);
        expect_next(list, "d1");
        expect_next(list, "d2");
        expect_next(list, "d3");
        expect_next(list, "d4");
        expect_end(list);
    }
}

CONFORMANCE_TEST("lsu-list.dynamic.udid", "With a token a dynamic list gives unique identifiers, not volume names.") {
    write_config("Kelvarpool", "UDID_TOKEN = TK;\nENCLOSURE = e;\n\tDISKS = disk7,#x,d2;\n");
    const auto handle = open_server(new_session(), "Kelvarpool:nodeA");
    sts_lsu_list_handle_t list = nullptr;
    require_status(plugin().open_dynamic_lsu_list(lsu(handle, "e"), &list), 0);
    expect_next(list, "#UDID#TK#disk7#");
    expect_next(list, "#UDID#TK##");
    expect_next(list, "#UDID#TK#d2#");
    expect_end(list);
}

CONFORMANCE_TEST("lsu-list.dynamic.long-token", "An identifier beyond the name buffer is cut at 1023 bytes.") {
    const std::string token_text(1000, 't');
    write_config("Kelvarpool", "UDID_TOKEN=" + token_text + ";\nENCLOSURE=e;\nDISKS=disk-with-a-name-of-30-bytes-x;\n");
    const auto handle = open_server(new_session(), "Kelvarpool:nodeA");
    sts_lsu_list_handle_t list = nullptr;
    require_status(plugin().open_dynamic_lsu_list(lsu(handle, "e"), &list), 0);
    expect_next(list, ("#UDID#" + token_text + "#disk-with-a-name-of-30-bytes-x#").substr(0, 1023));
    expect_end(list);
}

CONFORMANCE_TEST("lsu-list.dynamic.empty-pool", "A pool without disks gives an empty dynamic list.") {
    write_config("Kelvarpool", "ENCLOSURE = e;\n\tHOSTS = h;\n");
    expect_texts("volumes", list_volumes(open_server(new_session(), "Kelvarpool:nodeA"), "e"), {});
}

CONFORMANCE_TEST("lsu-list.dynamic.unknown-pool",
                 "An unknown pool gives STS_E_NO_SERVER, no message, and a stored list handle.") {
    write_example_configs();
    for (const char *pool : {"nosuchpool", "", "ENC1", "enc1 ", "d1", "enc1:d1"})
        expect_under_every_mask(STS_E_NO_SERVER, {}, [&](Session &session) {
            const auto handle = open_server(session, "Kelvarpool:nodeA");
            session.clear();
            sts_lsu_list_handle_t list = nullptr;
            const int32_t status = plugin().open_dynamic_lsu_list(lsu(handle, pool), &list);
            expect_true(list != nullptr, "stored list", "a list", "null");
            return status;
        });
}

CONFORMANCE_TEST("lsu-list.dynamic.close-unknown-pool",
                 "The list handle of an unknown pool closes with 0 and no message.") {
    write_example_configs();
    expect_under_every_mask(0, {}, [](Session &session) {
        const auto handle = open_server(session, "Kelvarpool:nodeA");
        sts_lsu_list_handle_t list = nullptr;
        expect_status(plugin().open_dynamic_lsu_list(lsu(handle, "nosuchpool"), &list), STS_E_NO_SERVER);
        session.clear();
        return plugin().close_lsu_list(list);
    });
}

CONFORMANCE_TEST("lsu-list.dynamic.not-traced", "Opening a dynamic list logs nothing when it succeeds.") {
    write_example_configs();
    expect_under_every_mask(0, {}, [](Session &session) {
        const auto handle = open_server(session, "Kelvarpool:nodeA");
        session.clear();
        sts_lsu_list_handle_t list = nullptr;
        return plugin().open_dynamic_lsu_list(lsu(handle, "enc1"), &list);
    });
}

CONFORMANCE_TEST("lsu-list.dynamic.no-disk-array",
                 "A handle without a disk array is refused with a message, and nothing is stored.") {
    write_example_configs();
    for (const char *name : {"copan:arr1", "Kelvarpool:", "nobody:x"})
        expect_under_every_mask(STS_E_INVALID_PARAMETER, {error(dynamic_refusal)}, [&](Session &session) {
            sts_server_handle_t handle = nullptr;
            plugin().open_server(session.pointer(), name, &handle);
            session.clear();
            sts_lsu_list_handle_t list = nullptr;
            const int32_t status = plugin().open_dynamic_lsu_list(lsu(handle, "enc1"), &list);
            expect_true(list == nullptr, "stored list", "none", "a list");
            return status;
        });
}

CONFORMANCE_TEST("lsu-list.dynamic.null-arguments",
                 "A null LSU, a null handle in it and a null out-address give STS_E_INVALID_PARAMETER.") {
    write_example_configs();
    sts_lsu_list_handle_t list = nullptr;
    expect_status(plugin().open_dynamic_lsu_list(nullptr, &list), STS_E_INVALID_PARAMETER);
    expect_status(plugin().open_dynamic_lsu_list(lsu(nullptr, "enc1"), &list), STS_E_INVALID_PARAMETER);
    const auto handle = open_server(new_session(), "Kelvarpool:nodeA");
    expect_status(plugin().open_dynamic_lsu_list(lsu(handle, "enc1"), nullptr), STS_E_INVALID_PARAMETER);
    expect_true(list == nullptr, "stored list", "none", "a list");
}

CONFORMANCE_TEST("lsu-list.dynamic.list.log",
                 "Stepping through and closing a dynamic list is traced with the server's session.") {
    write_example_configs();
    for (const bool is_closing : {false, true}) {
        const char *call = is_closing ? "stspi_close_lsu_list" : "stspi_list_lsu";
        expect_under_every_mask(0, {entering(call), leaving(call)}, [&](Session &session) {
            const auto handle = open_server(session, "Kelvarpool:nodeA");
            sts_lsu_list_handle_t list = nullptr;
            require_status(plugin().open_dynamic_lsu_list(lsu(handle, "enc1"), &list), 0);
            session.clear();
            const GuardedMemory name(STS_LSU_NAME_SIZE);
            return is_closing ? plugin().close_lsu_list(list)
                              : plugin().list_lsu(list, static_cast<char *>(name.data()));
        });
    }
}

CONFORMANCE_TEST("lsu-list.dynamic.not-by-hosts", "A dynamic list does not ask whose pool it is.") {
    write_example_configs();
    expect_texts("volumes", list_volumes(create_server(new_session(), "Kelvarpool:nodeA", {"stranger"}), "enc2"),
                 {"e1", "e2"});
}

}  // namespace conformance
