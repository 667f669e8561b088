#include "bench/entry_point_costs.h"

#include <benchmark/benchmark.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include "bench/open_servers.h"
#include "stspi/stsimg.h"

namespace {

constexpr int sections = 10;

using benchmark::RegisterBenchmark;
using benchmark::State;

// Registers a benchmark that repeats call; before it, the configuration is written.
template <class Call>
benchmark::internal::Benchmark *measure(const ConfigurationFiles &files, const char *name, Call call) {
    return RegisterBenchmark(name, [&files, call](State &state) {
        files.write_disk_array(sections);
        files.write_copan_arrays(sections);
        for (auto _ : state)
            benchmark::DoNotOptimize(call());
    });
}

// As measure, on an open disk-array server: call gets the server.
template <class Call>
void measure_on_array(const ConfigurationFiles &files, const char *name, Call call) {
    RegisterBenchmark(name, [&files, call](State &state) {
        files.write_disk_array(sections);
        const OpenServer server = OpenServer::of_hosts();
        for (auto _ : state)
            benchmark::DoNotOptimize(call(server));
    });
}

template <class Call>
void measure_on_copan(const ConfigurationFiles &files, const char *name, Call call) {
    RegisterBenchmark(name, [&files, call](State &state) {
        files.write_copan_arrays(sections);
        const OpenServer server = OpenServer::by_name("copan:arr3");
        for (auto _ : state)
            benchmark::DoNotOptimize(call(server));
    });
}

int open_and_close(const char *path) {
    FILE *file = std::fopen(path, "r");
    return file != nullptr ? std::fclose(file) : -1;
}

int read_lines(const char *path) {
    FILE *file = std::fopen(path, "r");
    if (file == nullptr)
        return -1;
    char line[1024];
    while (std::fgets(line, sizeof line, file) != nullptr) {
    }
    return std::fclose(file);
}

void register_registration(const ConfigurationFiles &files) {
    measure(files, "claim", [] { return stspi_claim("Kelvarpool:mediaA"); });
    measure(files, "claim/bare", [] { return open_and_close("/etc/quillmere/Kelvarpool.sim"); });
    measure(files, "ioctl", [] { return stspi_ioctl(nullptr, 7); });
    measure(files, "async_flush", [] { return stspi_async_flush(); });
    measure(files, "init2", [] {
        sts_registration2_t registration;
        return stspi_init2(9, &registration);
    });
}

void register_servers(const ConfigurationFiles &files) {
    // Opening claims first: the file is opened twice.
    measure(files, "open_server.close_server.array", [] { return OpenServer::by_name("Kelvarpool:mediaA").handle(); });
    measure(files, "open_server.close_server.array/bare", [] {
        return open_and_close("/etc/quillmere/Kelvarpool.sim") + read_lines("/etc/quillmere/Kelvarpool.sim");
    });
    measure(files, "open_server.close_server.copan", [] { return OpenServer::by_name("copan:arr3").handle(); });
    measure(files, "open_server.close_server.copan/bare",
            [] { return open_and_close("/etc/quillmere/copan.sim") + read_lines("/etc/quillmere/copan.sim"); });
    measure_on_array(files, "get_server_prop", [](const OpenServer &server) {
        static sts_server_info_t info;
        return stspi_get_server_prop(server.handle(), &info);
    });
    measure(files, "get_server_prop_byname.array", [] {
        static sts_session_def_v7_t session;
        static sts_server_info_t info;
        return stspi_get_server_prop_byname(&session, "Kelvarpool:mediaA", &info);
    });
    measure(files, "get_server_prop_byname.array/bare", [] { return open_and_close("/etc/quillmere/Kelvarpool.sim"); });
}

void register_lists(const ConfigurationFiles &files) {
    measure_on_array(files, "open_lsu_list.close_lsu_list", [](const OpenServer &server) {
        sts_lsu_list_handle_t list = nullptr;
        stspi_open_lsu_list(server.handle(), nullptr, &list);
        return stspi_close_lsu_list(list);
    });
    measure_on_array(files, "open_dynamic_lsu_list.close_lsu_list", [](const OpenServer &server) {
        static const stsp_lsu_v7_t lsu = server.lsu("pool7");
        stsp_lsu_v7_t here = lsu;
        here.server = server.handle();
        sts_lsu_list_handle_t list = nullptr;
        stspi_open_dynamic_lsu_list(&here, &list);
        return stspi_close_lsu_list(list);
    });
    RegisterBenchmark("list_lsu.volume", [&files](State &state) {
        files.write_disk_array(sections);
        const OpenServer server = OpenServer::of_hosts();
        const stsp_lsu_v7_t lsu = server.lsu("pool7");
        sts_lsu_list_handle_t list = nullptr;
        char name[STS_LSU_NAME_SIZE];
        for (auto _ : state) {
            if (list == nullptr || stspi_list_lsu(list, name) != 0) {
                state.PauseTiming();
                if (list != nullptr)
                    stspi_close_lsu_list(list);
                expect_success(stspi_open_dynamic_lsu_list(&lsu, &list), "stspi_open_dynamic_lsu_list");
                state.ResumeTiming();
            }
        }
        stspi_close_lsu_list(list);
    });
}

void register_properties(const ConfigurationFiles &files) {
    static sts_lsu_info_v9_t info;
    const auto properties_of = [](const char *name) {
        return [name](const OpenServer &server) {
            static stsp_lsu_v7_t lsu;
            if (lsu.server != server.handle() || std::strcmp(lsu.lsu_name, name) != 0)
                lsu = server.lsu(name);
            return stspi_get_lsu_prop_byname(&lsu, &info);
        };
    };
    measure_on_array(files, "get_lsu_prop_byname.pool", properties_of("pool7"));
    measure_on_array(files, "get_lsu_prop_byname.dynamic", properties_of("pool7:pool7c"));
    measure_on_array(files, "get_lsu_prop_byname.dynamic-udid", properties_of("pool7:#UDID#T1#pool7c#"));
    measure_on_array(files, "get_lsu_prop_byname.path", properties_of("/"));
    measure_on_array(files, "get_lsu_prop_byname.path/bare", [](const OpenServer &) {
        struct statvfs file_system;
        return statvfs("/", &file_system);
    });
    measure_on_copan(files, "get_lsu_prop_byname.copan", properties_of("vol3"));
    measure_on_copan(files, "get_lsu_prop_byname.copan/bare", [&files](const OpenServer &) {
        static const std::string storage = files.directory() + "/copan";
        static const std::string volume = storage + "/vol3";
        struct statvfs file_system;
        return mkdir(storage.c_str(), 0700) + mkdir(volume.c_str(), 0700) + statvfs(volume.c_str(), &file_system);
    });
}

void register_mount(const ConfigurationFiles &files) {
    static const std::string storage = files.directory() + "/pool7";
    static const std::string volume = storage + "/pool7c";
    static const std::string mount_point = files.directory() + "/mounted";
    measure_on_array(files, "mount_lsu", [](const OpenServer &server) {
        static char result[STS_MOUNT_RESULT_SIZE];
        static stsp_lsu_v7_t lsu = server.lsu("pool7:pool7c");
        lsu.server = server.handle();
        return stspi_mount_lsu(&lsu, mount_point.c_str(), 1, 0, result);
    });
    // The calls of a mount over an earlier one, in their order.
    measure_on_array(files, "mount_lsu/bare", [](const OpenServer &) {
        struct stat present;
        return mkdir(storage.c_str(), 0700) + mkdir(volume.c_str(), 0700) + stat(mount_point.c_str(), &present) +
               symlink(volume.c_str(), mount_point.c_str()) + unlink(mount_point.c_str()) +
               symlink(volume.c_str(), mount_point.c_str());
    });
}

void register_images(const ConfigurationFiles &files) {
    // The cheapest answers of the image library, so that what the plug-in adds shows: a null definition or handle.
    measure_on_array(files, "open_image", [](const OpenServer &server) {
        static stsp_lsu_v7_t lsu = server.lsu("pool7");
        lsu.server = server.handle();
        sts_image_handle_t image = nullptr;
        return stspi_open_image(&lsu, nullptr, STSIMG_MODE_READ, &image);
    });
    measure_on_array(files, "open_image/bare", [](const OpenServer &) {
        sts_image_handle_t image = nullptr;
        return stsimg_open_image("pool7", nullptr, "", nullptr, STSIMG_MODE_READ, &image);
    });
    measure(files, "read_image", [] { return stspi_read_image(nullptr, nullptr, 0, 0, nullptr); });
    measure(files, "read_image/bare", [] { return stsimg_read_image(nullptr, nullptr, 0, 0, nullptr); });
}

void register_process(const ConfigurationFiles &files) {
    measure(files, "load_process", [] { return load_process("/bin/true", ""); })->UseRealTime();
    measure(files, "load_process/bare", [] {
        const pid_t child = fork();
        if (child == 0) {
            execl("/bin/true", "/bin/true", nullptr);
            _exit(127);
        }
        int status = 0;
        waitpid(child, &status, 0);
        return status;
    })->UseRealTime();
}

}  // namespace

void register_entry_point_costs(const ConfigurationFiles &files) {
    register_registration(files);
    register_servers(files);
    register_lists(files);
    register_properties(files);
    register_mount(files);
    register_images(files);
    register_process(files);
}
