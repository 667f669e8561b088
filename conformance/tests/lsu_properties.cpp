// stspi_get_lsu_prop_byname and dynamic LSU names as it reads them.
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <thread>

#include "conformance/calls/configuration.h"
#include "conformance/calls/entry_points.h"
#include "conformance/report/test_case.h"
#include "conformance/watch/expect.h"
#include "conformance/watch/resource_registry.h"

namespace conformance {

namespace {

constexpr char lsu_properties_name[] = "stspi_get_lsu_prop_byname";

int32_t ask(const stsp_lsu_v7_t *lsu) {
    Watched<sts_lsu_info_v9_t> info;
    return plugin().get_lsu_prop_byname(lsu, info.get());
}

// A handle without a server object answers no question about an LSU; which status says so is the plug-in's choice.
bool expect_no_server(int32_t status) {
    if (status == STS_E_NO_SERVER)
        return true;
    if (expect_true(status != 0, "status", status_text(STS_E_NO_SERVER), "0"))
        warn("status on a handle without a server object", status_text(STS_E_NO_SERVER), status_text(status));
    return false;
}

std::string array_name(sts_server_handle_t handle) {
    Watched<sts_server_info_t> info;
    require_status(plugin().get_server_prop(handle, info.get()), 0);
    return info->server_name;
}

void clear(sts_lsu_info_v9_t &info) { std::memset(&info, 0, sizeof info); }

// What the file system says now.
struct FileSystem {
    explicit FileSystem(const std::string &path) {
        require_true(statvfs(path.c_str(), &now) == 0, path, "a path", "none");
    }
    uint64_t used() const { return (now.f_blocks - now.f_bavail) * now.f_frsize; }
    struct statvfs now;
};

// Other processes may use the file system, and take a block only to give it back: so the call is tried until its used bytes
// are those from before and from after it, for some ten seconds at most.
constexpr int most_tries = 200;
constexpr std::chrono::milliseconds longest_wait(50);

// The record of a path LSU after a call that set base bytes before.
void expect_path_record(const std::string &path, const std::function<int32_t(sts_lsu_info_v9_t *)> &call,
                        const std::function<void(sts_lsu_info_v9_t &)> &base, const std::string &server_name) {
    for (const int pattern : {0xa5, 0x5a, 0x00, 0xff}) {
        bool is_done = false;
        for (int tries = 1; !is_done; ++tries) {
            Watched<sts_lsu_info_v9_t> info(static_cast<unsigned char>(pattern));
            const FileSystem before(path);
            require_status(call(info.get()), 0);
            const bool is_still = FileSystem(path).used() == before.used() && info->used_bytes == before.used();
            is_done = is_still || tries == most_tries;
            if (!is_done) {
                std::this_thread::sleep_for(std::min(std::chrono::milliseconds(tries), longest_wait));
                continue;
            }
            info.expect_changed("LSU information", [&](sts_lsu_info_v9_t &expected) {
                base(expected);
                put_text(expected.server_name, server_name);
                expected.lsu_class = STS_LSU_CLASS_PATH;
                expected.flags |= STS_LSU_FLAG_PATH;
                expected.block_size_bytes = before.now.f_frsize;
                expected.capacity_bytes = before.now.f_frsize * before.now.f_blocks;
                expected.used_bytes = before.used();
            });
        }
    }
}

void keep(sts_lsu_info_v9_t &) {}

// A directory path of exactly so many bytes that names the working directory's parent again and again.
std::string long_path(size_t length) {
    std::string path = "/";
    while (path.size() + 2 <= length)
        path += "./";
    while (path.size() < length)
        path += "/";
    return path;
}

void expect_pool(const std::string &config, const std::string &pool, const std::string &properties, uint64_t capacity) {
    remove_config("Kelvarpool");
    write_config("Kelvarpool", config);
    const auto handle = open_server(new_session(), "Kelvarpool:nodeA");
    const std::string server_name = array_name(handle);
    for (const unsigned char fill : both_fills) {
        Watched<sts_lsu_info_v9_t> info(fill);
        expect_status(plugin().get_lsu_prop_byname(lsu(handle, pool), info.get()), 0);
        info.expect_changed("LSU information", [&](sts_lsu_info_v9_t &expected) {
            clear(expected);
            put_text(expected.server_name, server_name);
            put_text(expected.lsu_name, pool);
            expected.lsu_class = STS_LSU_CLASS_POOL;
            expected.class_qualifier = 1;
            put_text(expected.property_text, properties);
            expected.flags = STS_LSU_FLAG_STANDARD;
            expected.capacity_bytes = capacity;
        });
    }
}

void expect_disk(sts_server_handle_t handle, const std::string &asked, const std::string &disk, const std::string &id,
                 uint64_t size) {
    const std::string server_name = array_name(handle);
    for (const unsigned char fill : both_fills) {
        Watched<sts_lsu_info_v9_t> info(fill);
        expect_status(plugin().get_lsu_prop_byname(lsu(handle, asked), info.get()), 0);
        info.expect_changed("LSU information of " + asked, [&](sts_lsu_info_v9_t &expected) {
            clear(expected);
            put_text(expected.server_name, server_name);
            put_text(expected.lsu_name, disk);
            expected.lsu_class = STS_LSU_CLASS_DYNAMIC;
            expected.class_qualifier = 1;
            put_text(expected.property_text, fmt::format("ID={};FreeSpace={};FSSize={}", id, size / 2, size));
            expected.flags = STS_LSU_FLAG_STANDARD;
            expected.capacity_bytes = size;
            expected.used_bytes = size - size / 2;
        });
    }
}

}  // namespace

// ---- pools ---------------------------------------------------------------------------------------------------------

CONFORMANCE_TEST(
    "lsu-props.pool.record",
    "A pool's record is cleared and filled: names, class 3, property text, capacity; every other byte is 0.") {
    expect_pool("ENCLOSURE = g;\n\tDISKS = a,b,c,d;\n\tHOSTS = h1,h2;\n\tDISK_SIZE = 100;\n", "g",
                "VolumeCount=4;StorelCount=4;Hosts=h1,h2", 400);
}

CONFORMANCE_TEST("lsu-props.pool.hosts-in-file-order",
                 "The hosts of a pool come in the order of the file, repeated ones once.") {
    expect_pool("ENCLOSURE = g;\n\tHOSTS = z,a,m,a,z,b;\n", "g", "VolumeCount=0;StorelCount=0;Hosts=z,a,m,b", 0);
}

CONFORMANCE_TEST("lsu-props.pool.empty-host-set",
                 "A pool with an empty host set has an empty Hosts value, which is still there.") {
    expect_pool("ENCLOSURE = g;\n\tDISKS = a;\n\tHOSTS =\n\tDISK_SIZE = 7;\n", "g",
                "VolumeCount=1;StorelCount=1;Hosts=", 7);
}

CONFORMANCE_TEST("lsu-props.pool.one-empty-host", "A host list of a ';' alone is one host with an empty name.") {
    expect_pool("ENCLOSURE = g;\n\tHOSTS = ;\n", "g", "VolumeCount=0;StorelCount=0;Hosts=", 0);
    expect_pool("ENCLOSURE = g;\n\tHOSTS = a,#,b;\n", "g", "VolumeCount=0;StorelCount=0;Hosts=a,,b", 0);
}

CONFORMANCE_TEST("lsu-props.pool.without-host-set", "A pool without a host set gives STS_E_NOT_FOUND.") {
    write_config("Kelvarpool", "ENCLOSURE = g;\n\tDISKS = a;\n");
    expect_under_every_mask(STS_E_NOT_FOUND, {entering(lsu_properties_name), leaving(lsu_properties_name)},
                            [](Session &session) {
                                const auto handle = open_server(session, "Kelvarpool:nodeA");
                                session.clear();
                                Watched<sts_lsu_info_v9_t> info;
                                const int32_t status = plugin().get_lsu_prop_byname(lsu(handle, "g"), info.get());
                                info.expect_changed("LSU information", clear);
                                return status;
                            });
}

CONFORMANCE_TEST("lsu-props.pool.unknown",
                 "An unknown pool gives STS_E_NO_SERVER without a message; the record is cleared.") {
    write_example_configs();
    for (const char *name : {"nosuchpool", "", "ENC1", "enc", "enc11", "d1"})
        expect_under_every_mask(STS_E_NO_SERVER, {entering(lsu_properties_name), leaving(lsu_properties_name)},
                                [&](Session &session) {
                                    const auto handle = open_server(session, "Kelvarpool:nodeA");
                                    session.clear();
                                    Watched<sts_lsu_info_v9_t> info;
                                    const int32_t status = plugin().get_lsu_prop_byname(lsu(handle, name), info.get());
                                    info.expect_changed("LSU information", clear);
                                    return status;
                                });
}

CONFORMANCE_TEST("lsu-props.pool.log", "A pool's properties are told between the two trace lines.") {
    write_example_configs();
    expect_under_every_mask(0, {entering(lsu_properties_name), leaving(lsu_properties_name)}, [](Session &session) {
        const auto handle = open_server(session, "Kelvarpool:nodeA");
        session.clear();
        return ask(lsu(handle, "enc1"));
    });
}

CONFORMANCE_TEST("lsu-props.pool.any-handle", "Pools are told to any handle of the array, whatever its hosts.") {
    write_example_configs();
    for (const auto handle : {open_server(new_session(), "Kelvarpool:nodeA"),
                              create_server(new_session(), "Kelvarpool:nodeA", {"stranger"}),
                              create_server(new_session(), "Kelvarpool:nodeA", {})}) {
        Watched<sts_lsu_info_v9_t> info;
        expect_status(plugin().get_lsu_prop_byname(lsu(handle, "enc2"), info.get()), 0);
        expect_number("capacity", info->capacity_bytes, 2ULL * 2 * 1024 * 1024 * 1024);
    }
}

CONFORMANCE_TEST("lsu-props.pool.first-of-a-name", "Of two pools of one name the first is told.") {
    expect_pool("ENCLOSURE = g;\n\tHOSTS = first;\nENCLOSURE = g;\n\tHOSTS = second;\n", "g",
                "VolumeCount=0;StorelCount=0;Hosts=first", 0);
}

CONFORMANCE_TEST("lsu-props.pool.capacity-wraps", "Capacity is a 64-bit product of count and size.") {
    expect_pool("ENCLOSURE = g;\n\tDISKS = a,b,c;\n\tHOSTS = h;\n\tDISK_SIZE = 2147483647P;\n", "g",
                "VolumeCount=3;StorelCount=3;Hosts=h", uint64_t{2147483647} * (uint64_t{1} << 50) * 3);
    expect_pool("ENCLOSURE = g;\n\tDISKS = a,b;\n\tHOSTS = h;\n\tDISK_SIZE = -1K;\n", "g",
                "VolumeCount=2;StorelCount=2;Hosts=h", 0ULL - 2048);
}

CONFORMANCE_TEST("lsu-props.pool.long-host-list",
                 "The longest host list that a configuration line can give is told whole.") {
    std::string hosts;
    for (int i = 0; i < 31; ++i)
        hosts += fmt::format("{}host-with-a-name-of-31-bytes-{:02}", hosts.empty() ? "" : ",", i);
    hosts.pop_back();  // the last one and its ';' are 31 bytes
    expect_pool("ENCLOSURE = g;\nHOSTS=" + hosts + ";\n", "g", "VolumeCount=0;StorelCount=0;Hosts=" + hosts, 0);
}

// ---- paths ---------------------------------------------------------------------------------------------------------

CONFORMANCE_TEST("lsu-props.path.record",
                 "A path on a disk array is answered from its file system; only the listed fields are written, the "
                 "record is not cleared.") {
    write_example_configs();
    for (const char *name : {"Kelvarpool:nodeA", "Kelvarpool:some.host"}) {
        const auto handle = open_server(new_session(), name);
        const std::string path = work_directory();
        expect_path_record(
            path, [&](sts_lsu_info_v9_t *info) { return plugin().get_lsu_prop_byname(lsu(handle, path), info); }, keep,
            std::string(name).substr(11));
    }
}

CONFORMANCE_TEST("lsu-props.path.created-handle", "On a handle made for hosts the server name of a path is empty.") {
    write_example_configs();
    const auto handle = create_server(new_session(), "Kelvarpool:nodeA", {"h1"});
    expect_path_record(
        "/", [&](sts_lsu_info_v9_t *info) { return plugin().get_lsu_prop_byname(lsu(handle, "/"), info); }, keep, "");
}

CONFORMANCE_TEST("lsu-props.path.file", "A path may name a file; its file system is told.") {
    write_example_configs();
    const auto handle = open_server(new_session(), "Kelvarpool:nodeA");
    const std::string path = config_path("Kelvarpool");
    expect_path_record(
        path, [&](sts_lsu_info_v9_t *info) { return plugin().get_lsu_prop_byname(lsu(handle, path), info); }, keep,
        "nodeA");
}

CONFORMANCE_TEST("lsu-props.path.log", "A path's properties are told between the two trace lines.") {
    write_example_configs();
    expect_under_every_mask(0, {entering(lsu_properties_name), leaving(lsu_properties_name)}, [](Session &session) {
        const auto handle = open_server(session, "Kelvarpool:nodeA");
        session.clear();
        return ask(lsu(handle, "/"));
    });
}

CONFORMANCE_TEST(
    "lsu-props.path.missing",
    "A path that is not there gives STS_E_SYSTEM and two error messages; name and block size 512 are written.") {
    write_example_configs();
    const std::string path = work_directory() + "/no/such:path";
    expect_under_every_mask(STS_E_SYSTEM,
                            {entering(lsu_properties_name), error("Error calling statvfs, LSU name is: "), error(path),
                             leaving(lsu_properties_name)},
                            [&](Session &session) {
                                const auto handle = open_server(session, "Kelvarpool:nodeA");
                                session.clear();
                                Watched<sts_lsu_info_v9_t> info;
                                const int32_t status = plugin().get_lsu_prop_byname(lsu(handle, path), info.get());
                                info.expect_changed("LSU information", [](sts_lsu_info_v9_t &expected) {
                                    put_text(expected.server_name, "nodeA");
                                    expected.block_size_bytes = 512;
                                });
                                return status;
                            });
}

CONFORMANCE_TEST("lsu-props.path.before-pool",
                 "A name that begins with '/' is a path, also with a ':' in it; other places of '/' make none.") {
    write_example_configs();
    const auto handle = open_server(new_session(), "Kelvarpool:nodeA");
    expect_status(ask(lsu(handle, "/:")), STS_E_SYSTEM);
    expect_status(ask(lsu(handle, "a/b")), STS_E_NO_SERVER);
    expect_status(ask(lsu(handle, " /")), STS_E_NO_SERVER);
    expect_status(ask(lsu(handle, "./")), STS_E_NO_SERVER);
}

CONFORMANCE_TEST("lsu-props.path.longest", "A path of 1,023 bytes is answered.") {
    write_example_configs();
    const auto handle = open_server(new_session(), "Kelvarpool:nodeA");
    const std::string path = long_path(1023);
    expect_path_record(
        path, [&](sts_lsu_info_v9_t *info) { return plugin().get_lsu_prop_byname(lsu(handle, path), info); }, keep,
        "nodeA");
}

CONFORMANCE_TEST("lsu-props.path.unterminated",
                 "A path that fills its field to the last byte is read no further; it may be refused.") {
    write_example_configs();
    const auto handle = open_server(new_session(), "Kelvarpool:nodeA");
    const GuardedMemory memory(sizeof(stsp_lsu_v7_t));
    auto *record = static_cast<stsp_lsu_v7_t *>(memory.data());
    record->server = handle;
    const std::string path = long_path(STS_LSU_NAME_SIZE);
    std::memcpy(record->lsu_name, path.data(), path.size());
    Watched<sts_lsu_info_v9_t> info;
    const int32_t status = plugin().get_lsu_prop_byname(record, info.get());
    if (status == 0)
        expect_number("class", info->lsu_class, STS_LSU_CLASS_PATH);
    else
        warn("status for a path without a terminator", "0", status_text(status));
    memory.expect_margin("LSU record");
}

CONFORMANCE_TEST("lsu-props.path.null-host-handle", "On a null-host handle a path is no LSU.") {
    write_example_configs();
    expect_no_server(ask(lsu(open_server(new_session(), "Kelvarpool:"), "/")));
}

// ---- Copan ---------------------------------------------------------------------------------------------------------

CONFORMANCE_TEST(
    "lsu-props.copan.record",
    "A Copan LSU's record holds the model's names and the sizes of the LSU's directory; every other byte is 0.") {
    write_config("copan", copan_config());
    const auto handle = open_server(new_session(), "copan:arr1.lab");
    owns_directory(work_directory() + "/cop");
    owns_directory(work_directory() + "/cop/vol2");
    expect_path_record(
        work_directory(),
        [&](sts_lsu_info_v9_t *info) { return plugin().get_lsu_prop_byname(lsu(handle, "vol2"), info); },
        [](sts_lsu_info_v9_t &expected) {
            clear(expected);
            put_text(expected.lsu_name, "vol2");
        },
        "arr1.lab");
}

CONFORMANCE_TEST("lsu-props.copan.log", "A Copan LSU's path is logged twice, each time as two trace messages.") {
    write_example_configs();
    const std::string path = work_directory() + "/cop/vol1";
    owns_directory(work_directory() + "/cop");
    owns_directory(path);
    expect_under_every_mask(0,
                            {entering(lsu_properties_name), trace("The generated mount path is: "), trace(path),
                             trace("Copied version: "), trace(path), leaving(lsu_properties_name)},
                            [](Session &session) {
                                const auto handle = open_server(session, "copan:arr1");
                                session.clear();
                                return ask(lsu(handle, "vol1"));
                            });
}

CONFORMANCE_TEST(
    "lsu-props.copan.unknown",
    "An unknown Copan LSU gives STS_E_NO_SERVER and its name alone as an error, after its directory was made.") {
    write_example_configs();
    const std::string path = work_directory() + "/cop/vol9";
    owns_directory(work_directory() + "/cop");
    owns_directory(path);
    expect_under_every_mask(STS_E_NO_SERVER,
                            {entering(lsu_properties_name), trace("The generated mount path is: "), trace(path),
                             trace("Copied version: "), trace(path), error("vol9"), leaving(lsu_properties_name)},
                            [](Session &session) {
                                const auto handle = open_server(session, "copan:arr1");
                                session.clear();
                                return ask(lsu(handle, "vol9"));
                            });
}

CONFORMANCE_TEST("lsu-props.copan.empty-name",
                 "An empty name on a Copan array gives STS_E_INVALID_PARAMETER; no directory is made.") {
    write_example_configs();
    expect_under_every_mask(STS_E_INVALID_PARAMETER, {entering(lsu_properties_name), leaving(lsu_properties_name)},
                            [](Session &session) {
                                const auto handle = open_server(session, "copan:arr1");
                                session.clear();
                                Watched<sts_lsu_info_v9_t> info;
                                const int32_t status = plugin().get_lsu_prop_byname(lsu(handle, ""), info.get());
                                info.expect_changed("LSU information", clear);
                                return status;
                            });
}

CONFORMANCE_TEST(
    "lsu-props.copan.no-path",
    "A Copan LSU whose directory cannot be made gives STS_E_INVALID_PARAMETER and the simulator's messages.") {
    write_config("copan", "STORAGE_SERVER = arr1;\nVOLUMES = vol1;\n");
    expect_under_every_mask(STS_E_INVALID_PARAMETER,
                            {entering(lsu_properties_name), unmasked("m_storage_dir directory creation failed: "),
                             unmasked(""), leaving(lsu_properties_name)},
                            [](Session &session) {
                                const auto handle = open_server(session, "copan:arr1");
                                session.clear();
                                Watched<sts_lsu_info_v9_t> info;
                                const int32_t status = plugin().get_lsu_prop_byname(lsu(handle, "vol1"), info.get());
                                info.expect_changed("LSU information", clear);
                                return status;
                            });
}

CONFORMANCE_TEST("lsu-props.copan.path-is-a-name", "On a Copan array a name that begins with '/' is an LSU name.") {
    write_example_configs();
    owns_directory(work_directory() + "/cop");
    const auto handle = open_server(new_session(), "copan:arr1");
    Session &session = new_session();
    const auto logged = open_server(session, "copan:arr1");
    session.clear();
    // The directory "cop//" is the storage directory itself, so it is there; an LSU of that name is not.
    expect_status(ask(lsu(logged, "/")), STS_E_NO_SERVER);
    session.expect_log({entering(lsu_properties_name), trace("The generated mount path is: "),
                        trace(work_directory() + "/cop//"), trace("Copied version: "),
                        trace(work_directory() + "/cop//"), error("/"), leaving(lsu_properties_name)});
    expect_status(ask(lsu(handle, "/tmp/no/such")), STS_E_INVALID_PARAMETER);
}

CONFORMANCE_TEST("lsu-props.copan.colon-is-a-name", "On a Copan array a name with ':' is an LSU name.") {
    write_example_configs();
    owns_directory(work_directory() + "/cop");
    owns_directory(work_directory() + "/cop/a:b");
    owns_directory(work_directory() + "/cop/:b");
    const auto handle = open_server(new_session(), "copan:arr1");
    expect_status(ask(lsu(handle, "a:b")), STS_E_NO_SERVER);
    expect_status(ask(lsu(handle, ":b")), STS_E_NO_SERVER);
}

CONFORMANCE_TEST("lsu-props.copan.long-name", "A Copan LSU name whose path does not fit is refused.") {
    write_example_configs();
    owns_directory(work_directory() + "/cop");
    const auto handle = open_server(new_session(), "copan:arr1");
    for (const size_t length : {256UL, 1000UL, 1023UL})
        expect_status(ask(lsu(handle, std::string(length, 'v'))), STS_E_INVALID_PARAMETER);
}

CONFORMANCE_TEST("lsu-props.copan.caller-record-unchanged", "The caller's LSU record is only read.") {
    write_example_configs();
    owns_directory(work_directory() + "/cop");
    owns_directory(work_directory() + "/cop/vol1");
    GuardedMemory memory(sizeof(stsp_lsu_v7_t));
    auto *record = static_cast<stsp_lsu_v7_t *>(memory.data());
    record->server = open_server(new_session(), "copan:arr1");
    put_text(record->lsu_name, "vol1");
    memory.make_read_only();
    expect_status(ask(record), 0);
}

// ---- disks of a pool -----------------------------------------------------------------------------------------------

CONFORMANCE_TEST("lsu-props.dynamic.record",
                 "A disk's record: class 2, the disk's name, half full, identifier and sizes as properties; every "
                 "other byte is 0.") {
    write_example_configs();
    const auto handle = open_server(new_session(), "Kelvarpool:nodeA");
    expect_disk(handle, "enc1:d1", "d1", "d1", 100);
    expect_disk(handle, "enc1:d4", "d4", "d4", 100);
    expect_disk(handle, "enc2:e2", "e2", "e2", 2ULL << 30);
}

CONFORMANCE_TEST("lsu-props.dynamic.left-ignored",
                 "Only the part behind the first ':' finds the disk; the part before it is not looked up.") {
    write_example_configs();
    const auto handle = open_server(new_session(), "Kelvarpool:nodeA");
    expect_disk(handle, "enc2:d1", "d1", "d1", 100);
    expect_disk(handle, "nosuchpool:e1", "e1", "e1", 2ULL << 30);
    expect_disk(handle, " :e1", "e1", "e1", 2ULL << 30);
}

CONFORMANCE_TEST("lsu-props.dynamic.by-udid", "A disk is found by its name or by its unique identifier.") {
    write_config("Kelvarpool", "ENCLOSURE = g;\n\tDISKS = disk7,disk8;\n\tDISK_SIZE = 101;\nUDID_TOKEN = TK;\n");
    const auto handle = open_server(new_session(), "Kelvarpool:nodeA");
    expect_disk(handle, "g:disk7", "disk7", "#UDID#TK#disk7#", 101);
    expect_disk(handle, "g:#UDID#TK#disk8#", "disk8", "#UDID#TK#disk8#", 101);
    expect_status(ask(lsu(handle, "g:#UDID#tk#disk8#")), STS_E_NO_SERVER);
    expect_status(ask(lsu(handle, "g:#UDID#TK#disk8")), STS_E_NO_SERVER);
    expect_status(ask(lsu(handle, "g:UDID#TK#disk8#")), STS_E_NO_SERVER);
}

CONFORMANCE_TEST("lsu-props.dynamic.listed-names", "Every identifier that a dynamic list gives finds its disk.") {
    write_config("Kelvarpool", "UDID_TOKEN = A1;\nENCLOSURE = g;\n\tDISKS = x,y,z;\n\tDISK_SIZE = 4K;\n");
    const auto handle = open_server(new_session(), "Kelvarpool:nodeA");
    const auto identifiers = list_volumes(handle, "g");
    expect_texts("identifiers", identifiers, {"#UDID#A1#x#", "#UDID#A1#y#", "#UDID#A1#z#"});
    const std::string disks = "xyz";
    for (size_t i = 0; i < disks.size() && i < identifiers.size(); ++i)
        expect_disk(handle, "g:" + identifiers[i], disks.substr(i, 1), identifiers[i], 4096);
}

CONFORMANCE_TEST("lsu-props.dynamic.first-disk-wins", "Of disks of one name the first, in file order, is told.") {
    write_config(
        "Kelvarpool",
        "ENCLOSURE = a;\n\tDISKS = same;\n\tDISK_SIZE = 10;\nENCLOSURE = b;\n\tDISKS = same;\n\tDISK_SIZE = 20;\n");
    expect_disk(open_server(new_session(), "Kelvarpool:nodeA"), "b:same", "same", "same", 10);
}

CONFORMANCE_TEST("lsu-props.dynamic.odd-size", "Free space is half the size without the remainder; the rest is used.") {
    write_config("Kelvarpool", "ENCLOSURE = a;\n\tDISKS = d;\n\tDISK_SIZE = 7;\n");
    expect_disk(open_server(new_session(), "Kelvarpool:nodeA"), "a:d", "d", "d", 7);
}

CONFORMANCE_TEST(
    "lsu-props.dynamic.not-found",
    "An unknown disk gives STS_E_NO_SERVER and \"LEFT:RIGHT not found\" as an error; the record is cleared.") {
    write_example_configs();
    for (const auto &[name, message] :
         {std::pair{"grp:u123", "grp:u123 not found"}, std::pair{"enc1:enc1", "enc1:enc1 not found"},
          std::pair{"enc1:D1", "enc1:D1 not found"}, std::pair{"enc1:", "enc1: not found"},
          std::pair{"a:b:c", "a:b:c not found"}, std::pair{"a:d1:", "a:d1: not found"},
          std::pair{"a::d1", "a::d1 not found"}, std::pair{"a: d1", "a: d1 not found"},
          std::pair{"%s%n:%d", "%s%n:%d not found"}})
        expect_under_every_mask(STS_E_NO_SERVER,
                                {entering(lsu_properties_name), error(message), leaving(lsu_properties_name)},
                                [given = name](Session &session) {
                                    const auto handle = open_server(session, "Kelvarpool:nodeA");
                                    session.clear();
                                    Watched<sts_lsu_info_v9_t> info;
                                    const int32_t status = plugin().get_lsu_prop_byname(lsu(handle, given), info.get());
                                    info.expect_changed("LSU information", clear);
                                    return status;
                                });
}

CONFORMANCE_TEST("lsu-props.dynamic.not-found.empty-array", "On an array without pools no disk is found.") {
    write_config("Kelvarpool", "UDID_TOKEN = x;\n");
    expect_status(ask(lsu(open_server(new_session(), "Kelvarpool:nodeA"), "g:d")), STS_E_NO_SERVER);
}

CONFORMANCE_TEST("lsu-props.dynamic.not-found.long-name", "The not-found message is cut at 1,023 bytes.") {
    write_example_configs();
    Session &session = new_session();
    const auto handle = open_server(session, "Kelvarpool:nodeA");
    const std::string name = std::string(500, 'l') + ":" + std::string(522, 'r');
    session.clear();
    expect_status(ask(lsu(handle, name)), STS_E_NO_SERVER);
    session.expect_log(
        {entering(lsu_properties_name), error((name + " not found").substr(0, 1023)), leaving(lsu_properties_name)});
}

CONFORMANCE_TEST(
    "lsu-props.dynamic.leading-colon",
    "A name that begins with ':' gives STS_E_INVALID_PARAMETER without a message; the record is cleared.") {
    write_example_configs();
    for (const char *name : {":d1", ":", "::", ":enc1:d1"})
        expect_under_every_mask(STS_E_INVALID_PARAMETER, {entering(lsu_properties_name), leaving(lsu_properties_name)},
                                [&](Session &session) {
                                    const auto handle = open_server(session, "Kelvarpool:nodeA");
                                    session.clear();
                                    Watched<sts_lsu_info_v9_t> info;
                                    const int32_t status = plugin().get_lsu_prop_byname(lsu(handle, name), info.get());
                                    info.expect_changed("LSU information", clear);
                                    return status;
                                });
}

CONFORMANCE_TEST("lsu-props.dynamic.colon-behind-terminator",
                 "A ':' behind the name's terminator does not make it dynamic.") {
    write_example_configs();
    GuardedMemory memory(sizeof(stsp_lsu_v7_t), ':');
    auto *record = static_cast<stsp_lsu_v7_t *>(memory.data());
    record->server = open_server(new_session(), "Kelvarpool:nodeA");
    put_text(record->lsu_name, "enc1");
    Watched<sts_lsu_info_v9_t> info;
    expect_status(plugin().get_lsu_prop_byname(record, info.get()), 0);
    expect_number("class", info->lsu_class, STS_LSU_CLASS_POOL);
}

CONFORMANCE_TEST("lsu-props.dynamic.log", "A disk's properties are told between the two trace lines.") {
    write_example_configs();
    expect_under_every_mask(0, {entering(lsu_properties_name), leaving(lsu_properties_name)}, [](Session &session) {
        const auto handle = open_server(session, "Kelvarpool:nodeA");
        session.clear();
        return ask(lsu(handle, "enc1:d1"));
    });
}

CONFORMANCE_TEST("lsu-props.dynamic.long-udid",
                 "The longest identifier that a configuration line can give is told whole.") {
    const std::string token_text(1011, 't');
    write_config("Kelvarpool", "UDID_TOKEN=" + token_text + ";\nENCLOSURE=g;\nDISKS=d;\nDISK_SIZE=2;\n");
    expect_disk(open_server(new_session(), "Kelvarpool:nodeA"), "g:d", "d", "#UDID#" + token_text + "#d#", 2);
}

// ---- argument checks -----------------------------------------------------------------------------------------------

CONFORMANCE_TEST("lsu-props.null-lsu",
                 "A null LSU, or a null handle in it, gives STS_E_INVALID_PARAMETER; the record is untouched.") {
    write_example_configs();
    for (const stsp_lsu_v7_t *given : {static_cast<const stsp_lsu_v7_t *>(nullptr), lsu(nullptr, "enc1")}) {
        for (const unsigned char fill : both_fills) {
            Watched<sts_lsu_info_v9_t> info(fill);
            expect_status(plugin().get_lsu_prop_byname(given, info.get()), STS_E_INVALID_PARAMETER);
            info.expect_untouched("LSU information");
        }
        expect_status(plugin().get_lsu_prop_byname(given, nullptr), STS_E_INVALID_PARAMETER);
    }
}

CONFORMANCE_TEST("lsu-props.null-info",
                 "A null record gives STS_E_INVALID_PARAMETER and its message between the trace lines.") {
    write_example_configs();
    for (const char *server : {"Kelvarpool:nodeA", "copan:arr1", "Kelvarpool:"})
        for (const char *name : {"enc1", "/", "vol1", ":", ""})
            expect_under_every_mask(STS_E_INVALID_PARAMETER,
                                    {entering(lsu_properties_name), error("STS: No memory allocated for lsuInfo"),
                                     leaving(lsu_properties_name)},
                                    [&](Session &session) {
                                        const auto handle = open_server(session, server);
                                        session.clear();
                                        return plugin().get_lsu_prop_byname(lsu(handle, name), nullptr);
                                    });
}

CONFORMANCE_TEST("lsu-props.no-server",
                 "A handle without a server object has no pools and no disks: an error, usually STS_E_NO_SERVER.") {
    write_example_configs();
    expect_no_server(ask(lsu(open_server(new_session(), "Kelvarpool:"), "enc1")));
    sts_server_handle_t failed = nullptr;
    plugin().open_server(new_session().pointer(), "nobody:x", &failed);
    expect_no_server(ask(lsu(failed, "enc1")));
    expect_no_server(ask(lsu(failed, "enc1:d1")));
}

CONFORMANCE_TEST("lsu-props.unterminated-name", "A name that fills its field is read no further; no LSU has it.") {
    write_example_configs();
    register_resource(nullptr, "cop", [path = work_directory() + "/cop"] { rmdir(path.c_str()); });  // made or not
    for (const auto &[server, status] : {std::pair{"Kelvarpool:nodeA", static_cast<int32_t>(STS_E_NO_SERVER)},
                                         std::pair{"copan:arr1", static_cast<int32_t>(STS_E_INVALID_PARAMETER)}}) {
        const GuardedMemory memory(sizeof(stsp_lsu_v7_t), 'n');
        auto *record = static_cast<stsp_lsu_v7_t *>(memory.data());
        record->server = open_server(new_session(), server);
        const int32_t got = ask(record);
        if (got != status && expect_true(got != 0, "status", status_text(status), "0"))
            warn("status for a name without a terminator", status_text(status), status_text(got));
    }
}

CONFORMANCE_TEST("lsu-props.ten-times", "Ten calls give ten equal records.") {
    write_example_configs();
    const auto handle = open_server(new_session(), "Kelvarpool:nodeA");
    for (const char *name : {"enc1", "enc2:e1"}) {
        Watched<sts_lsu_info_v9_t> first(0);
        expect_status(plugin().get_lsu_prop_byname(lsu(handle, name), first.get()), 0);
        for (int round = 0; round < 10; ++round) {
            Watched<sts_lsu_info_v9_t> again(0xff);
            expect_status(plugin().get_lsu_prop_byname(lsu(handle, name), again.get()), 0);
            expect_bytes("LSU information", again.get(), first.get(), sizeof(sts_lsu_info_v9_t));
        }
    }
}

}  // namespace conformance
