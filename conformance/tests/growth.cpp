// Calls repeated thousands of times leave the process no larger.
//
// What the C library's allocator has handed out is counted exactly, so one lost object a round is found.
#include <malloc.h>

#include <stdexcept>

#include "conformance/calls/configuration.h"
#include "conformance/calls/entry_points.h"
#include "conformance/calls/image_calls.h"
#include "conformance/report/test_case.h"
#include "conformance/watch/allocations.h"
#include "conformance/watch/call_watch.h"
#include "conformance/watch/expect.h"
#include "conformance/watch/leak_check.h"
#include "conformance/watch/resource_registry.h"
#include "conformance/watch/sanitizers.h"
#include "conformance/watch/standard_output.h"

namespace conformance {

namespace {

size_t bytes_in_use() {
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

// What a round may leave behind: the interface leaves the life of some objects to the plug-in.
struct Kept {
    size_t bytes = 0;  // of a round
    const char *what = "";
    bool is_usual = false;  // on purpose, so not worth a warning
};

// Some slack for what the allocator and the suite itself move about.
constexpr size_t slack = 4096;

size_t growth_over(int rounds, const std::function<void()> &round) {
    if (is_sanitized)
        skip_test("a sanitizer keeps books of its own; its leak check looks instead");
    CallWatch::switch_on(false);
    for (int i = 0; i < 20; ++i)
        round();
    const size_t before = bytes_in_use();
    for (int i = 0; i < rounds; ++i)
        round();
    const size_t after = bytes_in_use();
    return after > before ? after - before : 0;
}

using Round = std::function<void()>;

// A finding for each call that leaves memory behind in every round.
void tell_who_keeps_memory(const Round &round) {
    constexpr size_t rounds = 16;
    const AllocationWatch watch;
    for (size_t i = 0; i < rounds; ++i)
        round();
    for (const KeptMemory &kept : AllocationWatch::kept()) {
        if (kept.blocks < rounds)
            continue;
        add_finding_of(kept.call, fmt::format("memory that it allocates, after {} rounds", rounds), "all released",
                       fmt::format("{} blocks with {} bytes are not", kept.blocks, kept.bytes));
    }
}

// by_calls: the same round with each call by itself, when that is something else.
void expect_no_growth(int rounds, const Round &round, const Kept &kept = {}, const Round &by_calls = {}) {
    const size_t growth = growth_over(rounds, round);
    const std::string what = fmt::format("growth over {} rounds", rounds);
    const std::string got = fmt::format("{} bytes", growth);
    if (growth > slack + kept.bytes * static_cast<size_t>(rounds)) {
        tell_who_keeps_memory(by_calls ? by_calls : round);
        add_finding_of(
            "", what,
            kept.bytes == 0 ? "none" : fmt::format("none but {}, at most {} bytes a round", kept.what, kept.bytes),
            got);
    } else if (growth > slack && !kept.is_usual) {
        warn(what, "none", fmt::format("{}, which may be {}", got, kept.what));
    }
}

constexpr int thousand = 1000;

}  // namespace

LONG_CONFORMANCE_TEST("growth.disk-array-sessions",
                      "10,000 sessions with a disk array, each with lists and properties, leave nothing.") {
    write_example_configs();
    Session &session = new_session(0);
    const auto hosts = host_records({"h1", "h2"});
    Watched<sts_lsu_info_v9_t> info;
    Watched<sts_server_info_t> server;
    char name[STS_LSU_NAME_SIZE];
    stsp_lsu_v7_t pool{};
    stsp_lsu_v7_t disk{};
    put_text(pool.lsu_name, "enc1");
    put_text(disk.lsu_name, "enc1:d2");
    expect_no_growth(
        10000,
        [&] {
            sts_server_handle_t handle = nullptr;
            require_status(plugin().create_server(session.pointer(), "Kelvarpool:nodeA", hosts.data(), 2, &handle), 0);
            sts_lsu_list_handle_t list = nullptr;
            require_status(plugin().open_lsu_list(handle, &list), 0);
            while (plugin().list_lsu(list, name) == 0) {
            }
            require_status(plugin().close_lsu_list(list), 0);
            pool.server = disk.server = handle;
            require_status(plugin().open_dynamic_lsu_list(&pool, &list), 0);
            while (plugin().list_lsu(list, name) == 0) {
            }
            require_status(plugin().close_lsu_list(list), 0);
            require_status(plugin().get_lsu_prop_byname(&pool, info.get()), 0);
            require_status(plugin().get_lsu_prop_byname(&disk, info.get()), 0);
            require_status(plugin().get_server_prop(handle, server.get()), 0);
            require_status(plugin().close_server(handle), 0);
        },
        {2048, "the arrays of two pools and copies of two host names"});
}

LONG_CONFORMANCE_TEST("growth.copan-sessions", "10,000 sessions with a Copan array without volumes leave nothing.") {
    write_config("copan", "STORAGE_SERVER = arr1;\nSTORAGE_DIR = /nowhere/at/all;\n");
    Session &session = new_session(0);
    Watched<sts_server_info_t> server;
    expect_no_growth(10000, [&] {
        sts_server_handle_t handle = nullptr;
        require_status(plugin().open_server(session.pointer(), "copan:arr1", &handle), 0);
        sts_lsu_list_handle_t list = nullptr;
        require_status(plugin().open_lsu_list(handle, &list), 0);
        require_status(plugin().close_lsu_list(list), 0);
        require_status(plugin().get_server_prop(handle, server.get()), 0);
        require_status(plugin().close_server(handle), 0);
    });
}

CONFORMANCE_TEST("growth.copan-volumes",
                 "A Copan session leaves at most its volumes' objects, which outlive it on purpose.") {
    write_example_configs();
    Session &session = new_session(0);
    expect_no_growth(thousand,
                     [&] {
                         sts_server_handle_t handle = nullptr;
                         require_status(plugin().open_server(session.pointer(), "copan:arr1", &handle), 0);
                         require_status(plugin().close_server(handle), 0);
                     },
                     {size_t{3} * 128, "the objects of three volumes", true});
}

LONG_CONFORMANCE_TEST("growth.list-rounds",
                      "1,000,000 rounds of opening, stepping through and closing a list on one handle leave nothing, "
                      "but for pool arrays that a plug-in may keep.") {
    write_config("Kelvarpool", "ENCLOSURE = g;\nHOSTS = h;\n");
    Session &session = new_session(0);
    const auto handle = create_server(session, "Kelvarpool:nodeA", {"h"});
    // Straight through the addresses: notes and registrations would take longer than the calls.
    const auto open = reinterpret_cast<decltype(&stspi_open_lsu_list)>(plugin().address("stspi_open_lsu_list"));
    const auto list_lsu = reinterpret_cast<decltype(&stspi_list_lsu)>(plugin().address("stspi_list_lsu"));
    const auto close = reinterpret_cast<decltype(&stspi_close_lsu_list)>(plugin().address("stspi_close_lsu_list"));
    char name[STS_LSU_NAME_SIZE];
    const auto rounds_on = [&](sts_server_handle_t server) {
        return [&, server] {
            sts_lsu_list_handle_t list = nullptr;
            const CallNote note("open, list and close");
            if (open(server, nullptr, &list) != 0 || list_lsu(list, name) != 0 || close(list) != 0)
                throw std::runtime_error("a list call failed");
        };
    };
    // How long the array behind a list of pools lives is the plug-in's choice. One that keeps them is not asked for a
    // million: only that each is no larger than such an array may be.
    constexpr size_t array_size = 1024;
    const auto by_calls = [&] {
        sts_lsu_list_handle_t list = nullptr;
        require_status(plugin().open_lsu_list(handle, &list), 0);
        plugin().list_lsu(list, name);
        require_status(plugin().close_lsu_list(list), 0);
    };
    const size_t growth = growth_over(thousand, rounds_on(handle));
    if (growth <= slack) {
        expect_no_growth(1000000, rounds_on(handle), {}, by_calls);
        return;
    }
    if (expect_true(growth <= slack + array_size * thousand, "growth over 1000 rounds",
                    fmt::format("none but the pool arrays, at most {} bytes a round", array_size),
                    fmt::format("{} bytes", growth)))
        warn("growth over 1000 rounds", "none", fmt::format("{} bytes, which may be the pool arrays", growth));
}

CONFORMANCE_TEST("growth.failed-opens", "Opens that fail, closed again, leave nothing.") {
    write_example_configs();
    Session &session = new_session(0);
    for (const char *name : {"nobody:x", "copan:other", "Kelvarpool:", "copan:"})
        expect_no_growth(thousand, [&] {
            sts_server_handle_t handle = nullptr;
            plugin().open_server(session.pointer(), name, &handle);
            require_status(plugin().close_server(handle), 0);
            plugin().open_server(session.pointer(), name, nullptr);
        });
}

CONFORMANCE_TEST("growth.failed-creations", "Creations that fail, closed again, leave nothing.") {
    write_example_configs();
    Session &session = new_session(0);
    const auto hosts = host_records({"h1"});
    for (const char *name : {"nobody:x", "copan:arr1", "Kelvarpool:"})
        expect_no_growth(thousand, [&] {
            sts_server_handle_t handle = nullptr;
            plugin().create_server(session.pointer(), name, hosts.data(), 1, &handle);
            require_status(plugin().close_server(handle), 0);
            handle = nullptr;
            require_status(plugin().create_server(session.pointer(), name, nullptr, 1, &handle),
                           STS_E_INVALID_PARAMETER);
        });
}

CONFORMANCE_TEST("growth.refused-targets", "Targets that are refused free what they made.") {
    write_example_configs();
    const auto source = open_server(new_session(0), "Kelvarpool:nodeA");
    for (const char *name : {"Kelvarpool:x", "copan:"})
        expect_no_growth(thousand, [&] {
            sts_server_handle_t target = nullptr;
            require_status(plugin().open_target_server(source, name, &target), STS_E_INTERNAL);
        });
}

CONFORMANCE_TEST("growth.stored-targets", "Targets that fail with a stored handle leave nothing once that is closed.") {
    write_example_configs();
    const auto source = open_server(new_session(0), "Kelvarpool:nodeA");
    for (const char *name : {"nobody:x", "copan:other"})
        expect_no_growth(thousand, [&] {
            sts_server_handle_t target = nullptr;
            require_status(plugin().open_target_server(source, name, &target), STS_E_INTERNAL);
            require_status(plugin().close_server(target), 0);
        });
}

CONFORMANCE_TEST("growth.failed-lists", "Lists whose opening failed leave nothing once they are closed.") {
    write_example_configs();
    const auto single = open_server(new_session(0), "Kelvarpool:nodeA");
    const auto nothing = open_server(new_session(0), "Kelvarpool:");
    const auto *pool = lsu(single, "nosuchpool");
    expect_no_growth(thousand, [&] {
        sts_lsu_list_handle_t list = nullptr;
        for (const auto handle : {single, nothing}) {
            plugin().open_lsu_list(handle, &list);
            require_status(plugin().close_lsu_list(list), 0);
        }
        plugin().open_dynamic_lsu_list(pool, &list);
        require_status(plugin().close_lsu_list(list), 0);
    });
}

CONFORMANCE_TEST("growth.properties", "LSU properties of every kind, found or not, leave nothing.") {
    write_example_configs();
    owns_directory(work_directory() + "/cop");
    owns_directory(work_directory() + "/cop/vol1");
    owns_directory(work_directory() + "/cop/vol9");
    const auto array = open_server(new_session(0), "Kelvarpool:nodeA");
    Session &session = new_session(0);
    const auto copan = open_server(session, "copan:arr1");
    const std::vector<const stsp_lsu_v7_t *> lsus = {lsu(array, "enc1"),     lsu(array, "enc1:d1"), lsu(array, "x:y"),
                                                     lsu(array, ":y"),       lsu(array, "nosuch"),  lsu(array, "/"),
                                                     lsu(array, "/no/such"), lsu(copan, "vol1"),    lsu(copan, "vol9"),
                                                     lsu(copan, "no/such"),  lsu(copan, "")};
    Watched<sts_lsu_info_v9_t> info;
    expect_no_growth(thousand, [&] {
        for (const auto *one : lsus)
            plugin().get_lsu_prop_byname(one, info.get());
        session.clear();
    });
}

CONFORMANCE_TEST("growth.server-properties",
                 "Server properties by name leave nothing but the volumes' objects of a Copan array.") {
    write_config("Kelvarpool", disk_array_config());
    write_config("copan", "STORAGE_SERVER = arr1;\n");
    Session &session = new_session(0);
    Watched<sts_server_info_t> info;
    expect_no_growth(thousand, [&] {
        for (const char *name : {"Kelvarpool:x", "copan:arr1", "copan:other", "nobody:x"})
            plugin().get_server_prop_byname(session.pointer(), name, info.get());
    });
}

CONFORMANCE_TEST("growth.mounts", "Mounts, carried out or failed, leave nothing in memory.") {
    write_example_configs();
    owns_directory(work_directory() + "/s1");
    owns_directory(work_directory() + "/s1/d1");
    owns_link(work_directory() + "/m");
    Session &session = new_session(0);
    const auto handle = open_server(session, "Kelvarpool:nodeA");
    const auto *good = lsu(handle, "enc1:d1");
    const auto *unknown = lsu(handle, "nosuch:d1");
    const std::string point = work_directory() + "/m";
    char result[STS_MOUNT_RESULT_SIZE];
    expect_no_growth(thousand, [&] {
        require_status(plugin().mount_lsu(good, point.c_str(), 1, result), 0);
        require_status(plugin().mount_lsu(good, "", 1, result), STS_E_SYSTEM);
        require_status(plugin().mount_lsu(unknown, point.c_str(), 1, result), STS_E_SYSTEM);
        session.clear();
    });
}

CONFORMANCE_TEST("growth.images", "Image calls of both kinds of server leave nothing.") {
    write_example_configs();
    owns_directory(work_directory() + "/cop");
    owns_directory(work_directory() + "/cop/vol1");
    const auto array = open_server(new_session(0), "Kelvarpool:nodeA");
    const auto copan = open_server(new_session(0), "copan:arr1");
    const std::vector<const stsp_lsu_v7_t *> lsus = {lsu(array, "enc1"), lsu(copan, "vol1"), lsu(copan, "vol9")};
    const auto *definition = static_cast<const sts_image_definition_t *>(token(0x222));
    void *image = nullptr;
    uint64_t count = 0;
    expect_no_growth(thousand, [&] {
        for (const auto *one : lsus) {
            plugin().create_image(one, definition, 0, &image);
            plugin().open_image(one, definition, 0, &image);
            plugin().delete_image(one, definition, 0);
            plugin().open_image_list(one, 0, &image);
            plugin().get_image_prop_byname(one, definition, nullptr);
        }
        plugin().copy_extent(token(1), 0, token(2), 0, 5000, nullptr, &count);
        plugin().include_in_image(token(1), 0, token(2), 0, 5000);
        take_image_calls();
    });
}

CONFORMANCE_TEST("growth.failing-image-library",
                 "Calls that the image library refuses, at its first or second part, leave nothing.") {
    write_example_configs();
    owns_directory(work_directory() + "/cop");
    owns_directory(work_directory() + "/cop/vol1");
    const std::vector<const stsp_lsu_v7_t *> lsus = {lsu(open_server(new_session(0), "Kelvarpool:nodeA"), "enc1"),
                                                     lsu(open_server(new_session(0), "copan:arr1"), "vol1")};
    const auto *definition = static_cast<const sts_image_definition_t *>(token(0x222));
    Watched<sts_registration_t> registration;
    void *image = nullptr;
    uint64_t count = 0;
    for (const char *failing : {"stsimg_", "stsimg_write_image"})
        expect_no_growth(300, [&, failing] {
            images().answer = [failing](const ImageCall &call) {
                return call.function.rfind(failing, 0) == 0 ? static_cast<int32_t>(STS_E_SYSTEM) : 0;
            };
            for (const auto *one : lsus) {
                plugin().create_image(one, definition, 0, &image);
                plugin().open_image(one, definition, 0, &image);
                plugin().delete_image(one, definition, 0);
                plugin().open_image_list(one, 0, &image);
                plugin().get_image_prop_byname(one, definition, nullptr);
            }
            require_status(plugin().copy_extent(token(1), 0, token(2), 0, 5000, nullptr, &count), STS_E_SYSTEM);
            require_status(plugin().include_in_image(token(1), 0, token(2), 0, 5000), STS_E_SYSTEM);
            plugin().init(9, nullptr, registration.get());
            plugin().terminate();
            take_image_calls();
            images().answer = nullptr;
        });
}

CONFORMANCE_TEST("growth.registration-and-claims", "Registering, claiming and the stubs leave nothing.") {
    write_example_configs();
    Watched<sts_registration_t> first;
    Watched<sts_registration2_t> second;
    expect_no_growth(thousand, [&] {
        plugin().init(9, nullptr, first.get());
        plugin().init2(9, second.get());
        plugin().claim("copan:x");
        plugin().claim("nobody:x");
        plugin().ioctl(nullptr, 1);
        plugin().terminate();
        take_image_calls();
    });
}

CONFORMANCE_TEST("growth.load-process",
                 "Programs started and not started leave nothing, but for the objects of each call that may be kept.") {
    const std::string argument = " " + std::string(100000, 'x');
    expect_no_growth(50,
                     [&] {
                         plugin().load_process("/bin/true", argument.c_str());
                         plugin().load_process("/no/such/program", "");
                     },
                     {size_t{2} * 32768, "the objects of two calls"});
}

}  // namespace conformance
