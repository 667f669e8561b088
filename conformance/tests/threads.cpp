// Several threads, each on lists and mostly on servers of its own. Servers are opened and closed on one thread: that is the
// interface's rule.
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <thread>

#include "conformance/calls/configuration.h"
#include "conformance/calls/entry_points.h"
#include "conformance/calls/image_calls.h"
#include "conformance/report/test_case.h"
#include "conformance/watch/expect.h"
#include "conformance/watch/resource_registry.h"

namespace conformance {

namespace {

constexpr int thread_count_wanted = 4;
constexpr int rounds = 200;

// Runs work(thread number) on several threads at once.
void on_threads(const std::function<void(int)> &work) {
    std::atomic<int> ready{0};
    std::vector<std::thread> threads;
    threads.reserve(thread_count_wanted);
    for (int i = 0; i < thread_count_wanted; ++i)
        threads.emplace_back([&, i] {
            ++ready;
            while (ready < thread_count_wanted)
                std::this_thread::yield();
            try {
                work(i);
            } catch (const StopTest &) {
                // the finding says why
            }
        });
    for (std::thread &thread : threads)
        thread.join();
}

// Each thread has names of its own, of other lengths than the others': a text that wanders from thread to thread shows.
std::string own(const std::string &text, int i) {
    return text + std::string(static_cast<size_t>(i) * 3 + 1, static_cast<char>('a' + i));
}

// Pools POOLx of hosts HOSTx with disks DISKx and 1000 + x bytes each, and arrays arrx with volumes VOLx, x for each thread.
void write_configs_of_threads() {
    std::string arrays;
    std::string pools;
    for (int i = 0; i < thread_count_wanted; ++i) {
        pools +=
            fmt::format("ENCLOSURE = {};\n\tDISKS = {};\n\tHOSTS = {},all;\n\tDISK_SIZE = {};\n\tSTORAGE_DIR = {};\n",
                        own("pool", i), own("disk", i), own("host", i), 1000 + i, work_directory() + "/" + own("s", i));
        arrays += fmt::format("STORAGE_SERVER = {};\n\tVOLUMES = {},{};\n\tSTORAGE_DIR = {};\n", own("arr", i),
                              own("vol", i), own("more", i), work_directory() + "/cop");
    }
    write_config("Kelvarpool", pools);
    write_config("copan", arrays);
}

template <typename Make>
std::vector<sts_server_handle_t> one_for_each_thread(Make make) {
    std::vector<sts_server_handle_t> handles;
    handles.reserve(thread_count_wanted);
    for (int i = 0; i < thread_count_wanted; ++i)
        handles.push_back(make(i));
    return handles;
}

}  // namespace

CONFORMANCE_TEST("threads.pool-lists", "Threads list the pools of handles of their own at the same time.") {
    write_configs_of_threads();
    const auto handles = one_for_each_thread(
        [](int i) { return create_server(new_session(0), "Kelvarpool:" + own("node", i), {own("host", i)}); });
    on_threads([&](int i) {
        for (int round = 0; round < rounds; ++round)
            expect_texts("pools", list_lsus(handles[static_cast<size_t>(i)]), {own("pool", i)});
    });
}

CONFORMANCE_TEST("threads.lists-of-one-server",
                 "Threads open, list and close pool lists of their own on one server handle at the same time.") {
    write_configs_of_threads();
    sts_server_handle_t handle = create_server(new_session(0), "Kelvarpool:node", {"all"});
    std::vector<std::string> pools;
    for (int i = thread_count_wanted - 1; i >= 0; --i)
        pools.push_back(own("pool", i));
    on_threads([&](int) {
        for (int round = 0; round < rounds; ++round)
            expect_texts("pools", list_lsus(handle), pools);
    });
}

CONFORMANCE_TEST("threads.properties",
                 "Threads read pool, path and server properties of handles of their own at the same time.") {
    write_configs_of_threads();
    const auto handles =
        one_for_each_thread([](int i) { return open_server(new_session(0), "Kelvarpool:" + own("node", i)); });
    std::vector<const stsp_lsu_v7_t *> pools;
    std::vector<const stsp_lsu_v7_t *> paths;
    for (int i = 0; i < thread_count_wanted; ++i) {
        pools.push_back(lsu(handles[static_cast<size_t>(i)], own("pool", i)));
        paths.push_back(lsu(handles[static_cast<size_t>(i)], "/"));
    }
    on_threads([&](int i) {
        const auto index = static_cast<size_t>(i);
        Watched<sts_lsu_info_v9_t> info;
        Watched<sts_server_info_t> server;
        for (int round = 0; round < rounds; ++round) {
            expect_status(plugin().get_lsu_prop_byname(pools[index], info.get()), 0);
            expect_text("properties", info->property_text,
                        fmt::format("VolumeCount=1;StorelCount=1;Hosts={},all", own("host", i)));
            expect_text("LSU name", info->lsu_name, own("pool", i));
            expect_number("capacity", info->capacity_bytes, 1000 + i);
            expect_status(plugin().get_lsu_prop_byname(paths[index], info.get()), 0);
            expect_text("server name of a path", info->server_name, own("node", i));
            expect_status(plugin().get_server_prop(handles[index], server.get()), 0);
        }
    });
}

CONFORMANCE_TEST("threads.copan", "Threads list, describe and use directories of one storage at the same time.") {
    write_configs_of_threads();
    owns_directory(work_directory() + "/cop");
    const auto handles =
        one_for_each_thread([](int i) { return open_server(new_session(0), "copan:" + own("arr", i)); });
    std::vector<const stsp_lsu_v7_t *> lsus;
    for (int i = 0; i < thread_count_wanted; ++i) {
        owns_directory(work_directory() + "/cop/" + own("vol", i));
        lsus.push_back(lsu(handles[static_cast<size_t>(i)], own("vol", i)));
    }
    on_threads([&](int i) {
        const auto index = static_cast<size_t>(i);
        Watched<sts_lsu_info_v9_t> info;
        Watched<sts_server_info_t> server;
        for (int round = 0; round < rounds; ++round) {
            expect_texts("LSUs", list_lsus(handles[index]), {own("vol", i), own("more", i)});
            expect_status(plugin().get_lsu_prop_byname(lsus[index], info.get()), 0);
            expect_text("LSU name", info->lsu_name, own("vol", i));
            expect_text("server name", info->server_name, own("arr", i));
            expect_status(plugin().get_server_prop(handles[index], server.get()), 0);
            expect_text("server name", server->server_name, own("arr", i));
            expect_status(plugin().open_image_list(lsus[index], 0, nullptr), 0);
        }
    });
    const auto calls = take_image_calls();
    expect_number("calls of the image library", calls.size(), thread_count_wanted * rounds);
    for (int i = 0; i < thread_count_wanted; ++i)
        expect_number("calls of the image library for " + own("arr", i),
                      std::count_if(calls.begin(), calls.end(),
                                    [&](const ImageCall &call) {
                                        return call.server_name == own("arr", i) &&
                                               call.lsu_text == work_directory() + "/cop/" + own("vol", i);
                                    }),
                      rounds);
}

CONFORMANCE_TEST("threads.mounts", "Threads mount volumes of their own at places of their own at the same time.") {
    write_configs_of_threads();
    owns_directory(work_directory() + "/mnt");
    const auto handles =
        one_for_each_thread([](int i) { return open_server(new_session(0), "Kelvarpool:" + own("node", i)); });
    std::vector<const stsp_lsu_v7_t *> lsus;
    std::vector<std::string> points;
    std::vector<std::string> targets;
    for (int i = 0; i < thread_count_wanted; ++i) {
        lsus.push_back(lsu(handles[static_cast<size_t>(i)], own("pool", i) + ":" + own("disk", i)));
        points.push_back(fmt::format("{}/mnt/{}", work_directory(), own("m", i)));
        targets.push_back(fmt::format("{}/{}/{}", work_directory(), own("s", i), own("disk", i)));
        owns_directory(work_directory() + "/" + own("s", i));
        owns_directory(targets.back());
        owns_link(points.back());
    }
    on_threads([&](int i) {
        const auto index = static_cast<size_t>(i);
        const GuardedMemory result(STS_MOUNT_RESULT_SIZE);
        for (int round = 0; round < rounds; ++round) {
            expect_status(plugin().mount_lsu(lsus[index], points[index].c_str(), 1, static_cast<char *>(result.data())),
                          0);
            expect_text("mount result", static_cast<char *>(result.data()),
                        own("pool", i) + ":" + own("disk", i) + "," + points[index]);
            std::error_code error;
            expect_text("target of the link", std::filesystem::read_symlink(points[index], error).string(),
                        targets[index]);
        }
    });
}

CONFORMANCE_TEST(
    "threads.messages",
    "Messages of threads go to their own sessions, each in order, on its own thread, with its own texts.") {
    write_configs_of_threads();
    std::vector<Session *> sessions;
    std::vector<sts_server_handle_t> handles;
    std::vector<const stsp_lsu_v7_t *> unknown;
    std::vector<const stsp_lsu_v7_t *> missing;
    for (int i = 0; i < thread_count_wanted; ++i) {
        sessions.push_back(&new_session());
        handles.push_back(open_server(*sessions.back(), "Kelvarpool:" + own("node", i)));
        sessions.back()->clear();
        unknown.push_back(lsu(handles.back(), own("left", i) + ":" + own("right", i)));
        missing.push_back(lsu(handles.back(), "/" + own("missing", i)));
    }
    constexpr char of_lsu[] = "stspi_get_lsu_prop_byname";
    on_threads([&](int i) {
        const auto index = static_cast<size_t>(i);
        Watched<sts_server_info_t> server;
        Watched<sts_lsu_info_v9_t> info;
        for (int round = 0; round < rounds; ++round) {
            expect_status(plugin().get_server_prop(handles[index], server.get()), 0);
            sessions[index]->expect_log({entering("stspi_get_server_prop"), leaving("stspi_get_server_prop")});
            expect_status(plugin().get_lsu_prop_byname(missing[index], info.get()), STS_E_SYSTEM);
            sessions[index]->expect_log({entering(of_lsu), error("Error calling statvfs, LSU name is: "),
                                         error("/" + own("missing", i)), leaving(of_lsu)});
            expect_status(plugin().get_lsu_prop_byname(unknown[index], info.get()), STS_E_NO_SERVER);
            sessions[index]->expect_log(
                {entering(of_lsu), error(own("left", i) + ":" + own("right", i) + " not found"), leaving(of_lsu)});
        }
    });
}

CONFORMANCE_TEST("threads.handle-moves", "A handle opened on one thread may be used and closed on another.") {
    write_example_configs();
    const auto handle = create_server(new_session(), "Kelvarpool:nodeA", {"h1"});
    std::thread([&] {
        try {
            expect_texts("pools", list_lsus(handle), {"enc2", "enc1"});
        } catch (const StopTest &) {
            // the finding says why
        }
        expect_status(plugin().close_server(handle), 0);
    }).join();
    const auto copan = open_server(new_session(), "copan:arr1");
    std::thread([&] { expect_status(plugin().close_server(copan), 0); }).join();
}

CONFORMANCE_TEST("threads.claims-and-stateless-calls",
                 "Claiming, control and not-supported calls come from any thread at any time.") {
    write_example_configs();
    on_threads([&](int) {
        for (int round = 0; round < rounds; ++round) {
            expect_status(plugin().claim("copan:x"), 0);
            expect_status(plugin().claim("nobody:x"), STS_E_NOT_CLAIMED);
            expect_status(plugin().ioctl(nullptr, 8), STS_E_NOT_SUPPORTED);
            expect_status(plugin().raw("stspi_async_wait", {}), STS_E_NOT_SUPPORTED);
        }
    });
}

}  // namespace conformance
