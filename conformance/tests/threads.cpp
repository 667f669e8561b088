// Several threads, each on handles of its own. Servers are opened and closed on one thread: that is the interface's rule.
#include <unistd.h>

#include <atomic>
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

template <typename Make>
std::vector<sts_server_handle_t> one_for_each_thread(Make make) {
    std::vector<sts_server_handle_t> handles;
    for (int i = 0; i < thread_count_wanted; ++i)
        handles.push_back(make());
    return handles;
}

}  // namespace

CONFORMANCE_TEST("threads.pool-lists", "Threads list the pools of handles of their own at the same time.") {
    write_example_configs();
    const auto handles = one_for_each_thread([] { return create_server(new_session(0), "Kelvarpool:nodeA", {"h1"}); });
    on_threads([&](int i) {
        for (int round = 0; round < rounds; ++round)
            expect_texts("pools", list_lsus(handles[static_cast<size_t>(i)]), {"enc2", "enc1"});
    });
}

CONFORMANCE_TEST("threads.properties",
                 "Threads read pool, path and server properties of handles of their own at the same time.") {
    write_example_configs();
    const auto handles = one_for_each_thread([] { return open_server(new_session(0), "Kelvarpool:nodeA"); });
    std::vector<const stsp_lsu_v7_t *> pools;
    std::vector<const stsp_lsu_v7_t *> paths;
    for (const auto handle : handles) {
        pools.push_back(lsu(handle, "enc1"));
        paths.push_back(lsu(handle, "/"));
    }
    on_threads([&](int i) {
        const auto index = static_cast<size_t>(i);
        Watched<sts_lsu_info_v9_t> info;
        Watched<sts_server_info_t> server;
        for (int round = 0; round < rounds; ++round) {
            expect_status(plugin().get_lsu_prop_byname(pools[index], info.get()), 0);
            expect_text("properties", info->property_text, "VolumeCount=4;StorelCount=4;Hosts=h1,h2");
            expect_status(plugin().get_lsu_prop_byname(paths[index], info.get()), 0);
            expect_status(plugin().get_server_prop(handles[index], server.get()), 0);
        }
    });
}

CONFORMANCE_TEST("threads.copan", "Threads list, describe and use the same Copan directories at the same time.") {
    write_example_configs();
    owns_directory(work_directory() + "/cop");
    owns_directory(work_directory() + "/cop/vol1");
    const auto handles = one_for_each_thread([] { return open_server(new_session(0), "copan:arr1"); });
    std::vector<const stsp_lsu_v7_t *> lsus;
    for (const auto handle : handles)
        lsus.push_back(lsu(handle, "vol1"));
    on_threads([&](int i) {
        const auto index = static_cast<size_t>(i);
        Watched<sts_lsu_info_v9_t> info;
        for (int round = 0; round < rounds; ++round) {
            expect_texts("LSUs", list_lsus(handles[index]), {"vol1", "vol2", "vol1"});
            expect_status(plugin().get_lsu_prop_byname(lsus[index], info.get()), 0);
            expect_status(plugin().open_image_list(lsus[index], 0, nullptr), 0);
        }
    });
    expect_number("calls of the image library", take_image_calls().size(), thread_count_wanted * rounds);
}

CONFORMANCE_TEST("threads.mounts", "Threads mount at places of their own at the same time.") {
    write_example_configs();
    owns_directory(work_directory() + "/s1");
    owns_directory(work_directory() + "/s1/d1");
    owns_directory(work_directory() + "/mnt");
    const auto handles = one_for_each_thread([] { return open_server(new_session(0), "Kelvarpool:nodeA"); });
    std::vector<const stsp_lsu_v7_t *> lsus;
    std::vector<std::string> points;
    for (const auto handle : handles) {
        lsus.push_back(lsu(handle, "enc1:d1"));
        points.push_back(fmt::format("{}/mnt/m{}", work_directory(), points.size()));
        owns_link(points.back());
    }
    on_threads([&](int i) {
        const auto index = static_cast<size_t>(i);
        const GuardedMemory result(STS_MOUNT_RESULT_SIZE);
        for (int round = 0; round < rounds; ++round)
            expect_status(plugin().mount_lsu(lsus[index], points[index].c_str(), 1, static_cast<char *>(result.data())),
                          0);
    });
}

CONFORMANCE_TEST("threads.messages",
                 "Messages of threads go to their own sessions, each in order and on its own thread.") {
    write_example_configs();
    std::vector<Session *> sessions;
    std::vector<sts_server_handle_t> handles;
    for (int i = 0; i < thread_count_wanted; ++i) {
        sessions.push_back(&new_session());
        handles.push_back(open_server(*sessions.back(), "copan:arr1"));
        sessions.back()->clear();
    }
    on_threads([&](int i) {
        const auto index = static_cast<size_t>(i);
        Watched<sts_server_info_t> info;
        for (int round = 0; round < rounds; ++round) {
            expect_status(plugin().get_server_prop(handles[index], info.get()), 0);
            sessions[index]->expect_log({entering("stspi_get_server_prop"), leaving("stspi_get_server_prop")});
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
