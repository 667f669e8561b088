// stspi_mount_lsu.
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "conformance/calls/configuration.h"
#include "conformance/calls/entry_points.h"
#include "conformance/calls/image_calls.h"
#include "conformance/report/test_case.h"
#include "conformance/watch/expect.h"
#include "conformance/watch/resource_registry.h"

namespace conformance {

namespace {

namespace fs = std::filesystem;

constexpr char mount_lsu_name[] = "stspi_mount_lsu";

struct Result {
    char text[STS_MOUNT_RESULT_SIZE];
};

// Mounts; on success the result buffer must hold the LSU name, a comma and the mount point, otherwise be untouched.
int32_t mount(sts_server_handle_t handle, const std::string &name, const std::string &mount_point, uint32_t mode = 1) {
    Watched<Result> result;
    const GuardedText point(mount_point);
    const int32_t status = plugin().mount_lsu(lsu(handle, name), point.get(), mode, result->text);
    if (status == 0)
        result.expect_changed("mount result",
                              [&](Result &expected) { put_text(expected.text, name + "," + mount_point); });
    else
        result.expect_untouched("mount result");
    return status;
}

std::string in_work(const std::string &name) { return work_directory() + "/" + name; }

void expect_link(const std::string &link, const std::string &target) {
    std::error_code error;
    const std::string got = fs::read_symlink(link, error).string();
    expect_text("target of the link " + link, error ? error.message() : got, target);
}

void expect_directory_mode(const std::string &path) {
    struct stat status;
    require_true(lstat(path.c_str(), &status) == 0, path, "a directory", "nothing");
    expect_true(S_ISDIR(status.st_mode), path, "a directory", "something else");
    expect_mode("mode of " + path, status.st_mode & 07777, 0700);
}

void make_file(const std::string &path) {
    std::ofstream(path) << "x";
    register_resource(nullptr, path, [path] { unlink(path.c_str()); });
}

// A mount point or a name that no buffer need hold fails the mount: at the file system, or before it is asked.
void expect_refusal_of_the_unfit(int32_t status) {
    if (status == STS_E_SYSTEM)
        return;
    if (expect_true(status != 0, "status", status_text(STS_E_SYSTEM), "0"))
        warn("status for a text that does not fit", status_text(STS_E_SYSTEM), status_text(status));
}

void expect_absent(const std::string &path) {
    struct stat status;
    expect_true(lstat(path.c_str(), &status) != 0, path, "nothing there", "something made");
}

// A pool "g" with one disk "d", and what else the configuration shall say.
void write_pool(const std::string &more) {
    remove_config("Kelvarpool");
    write_config("Kelvarpool", "ENCLOSURE = g;\n\tDISKS = d;\n" + more + "\n");
}

}  // namespace

CONFORMANCE_TEST(
    "mount.success",
    "A mount makes the volume's directory and the mount point's parents, all with mode 0700, and the link.") {
    write_example_configs();
    umask(0);
    const auto handle = open_server(new_session(), "Kelvarpool:nodeA");
    owns_directory(in_work("s1"));
    owns_directory(in_work("s1/d1"));
    owns_directory(in_work("mnt"));
    owns_directory(in_work("mnt/a"));
    owns_link(in_work("mnt/a/b"));
    expect_status(mount(handle, "enc1:d1", in_work("mnt/a/b")), 0);
    expect_link(in_work("mnt/a/b"), in_work("s1/d1"));
    for (const char *made : {"s1", "s1/d1", "mnt", "mnt/a"})
        expect_directory_mode(in_work(made));
}

CONFORMANCE_TEST("mount.log", "A mount that succeeds sends the two trace lines and nothing else.") {
    write_example_configs();
    owns_directory(in_work("s1"));
    owns_directory(in_work("s1/d1"));
    owns_link(in_work("m"));
    expect_under_every_mask(0, {entering(mount_lsu_name), leaving(mount_lsu_name)}, [](Session &session) {
        const auto handle = open_server(session, "Kelvarpool:nodeA");
        session.clear();
        return mount(handle, "enc1:d1", in_work("m"));
    });
}

CONFORMANCE_TEST("mount.any-volume", "Any volume name gets its directory, configured or not, with colons too.") {
    write_example_configs();
    const auto handle = open_server(new_session(), "Kelvarpool:nodeA");
    owns_directory(in_work("s1"));
    for (const char *volume : {"nosuchdisk", "a:b", ":", "%s", " v "}) {
        owns_directory(in_work("s1/") + volume);
        owns_link(in_work("m ") + volume);
        expect_status(mount(handle, std::string("enc1:") + volume, in_work("m ") + volume), 0);
        expect_link(in_work("m ") + volume, in_work("s1/") + volume);
    }
}

CONFORMANCE_TEST("mount.plain-name", "A name without ':' is both the group and the volume.") {
    write_example_configs();
    const auto handle = open_server(new_session(), "Kelvarpool:nodeA");
    owns_directory(in_work("s1"));
    owns_directory(in_work("s1/enc1"));
    owns_link(in_work("m"));
    expect_status(mount(handle, "enc1", in_work("m")), 0);
    expect_link(in_work("m"), in_work("s1/enc1"));
}

CONFORMANCE_TEST("mount.empty-volume", "An empty volume name is the storage directory itself.") {
    write_example_configs();
    const auto handle = open_server(new_session(), "Kelvarpool:nodeA");
    owns_directory(in_work("s1"));
    owns_link(in_work("m"));
    expect_status(mount(handle, "enc1:", in_work("m")), 0);
    expect_link(in_work("m"), in_work("s1/"));
}

CONFORMANCE_TEST(
    "mount.leading-colon",
    "A name that begins with ':' gives STS_E_INVALID_PARAMETER between the trace lines; nothing is made.") {
    write_example_configs();
    for (const char *name : {":d1", ":", ":enc1:d1"})
        expect_under_every_mask(STS_E_INVALID_PARAMETER, {entering(mount_lsu_name), leaving(mount_lsu_name)},
                                [&](Session &session) {
                                    const auto handle = open_server(session, "Kelvarpool:nodeA");
                                    session.clear();
                                    return mount(handle, name, in_work("m"));
                                });
}

CONFORMANCE_TEST("mount.mode-zero-first",
                 "A mode of 0 gives STS_E_INVALID_PARAMETER before anything else is looked at.") {
    write_example_configs();
    expect_status(plugin().raw("stspi_mount_lsu", {0x111, 0x222, 0, 0x333, 0x444, 0}), STS_E_INVALID_PARAMETER);
    expect_status(plugin().mount_lsu(nullptr, nullptr, 0, nullptr), STS_E_INVALID_PARAMETER);
    expect_under_every_mask(STS_E_INVALID_PARAMETER, {}, [](Session &session) {
        const auto handle = open_server(session, "Kelvarpool:nodeA");
        session.clear();
        return mount(handle, "enc1:d1", in_work("m"), 0);
    });
}

CONFORMANCE_TEST("mount.null-lsu", "A null LSU, or a null handle in it, gives STS_E_INVALID_PARAMETER.") {
    Watched<Result> result;
    expect_status(plugin().mount_lsu(nullptr, in_work("m").c_str(), 1, result->text), STS_E_INVALID_PARAMETER);
    expect_status(plugin().mount_lsu(lsu(nullptr, "enc1:d1"), in_work("m").c_str(), 1, result->text),
                  STS_E_INVALID_PARAMETER);
    result.expect_untouched("mount result");
}

CONFORMANCE_TEST(
    "mount.null-texts",
    "A null mount point or result buffer gives STS_E_INVALID_PARAMETER before anything is made or logged.") {
    write_example_configs();
    expect_under_every_mask(STS_E_INVALID_PARAMETER, {}, [](Session &session) {
        const auto handle = open_server(session, "Kelvarpool:nodeA");
        session.clear();
        Watched<Result> result;
        const int32_t status = plugin().mount_lsu(lsu(handle, "enc1:d1"), nullptr, 1, result->text);
        result.expect_untouched("mount result");
        return status;
    });
    expect_under_every_mask(STS_E_INVALID_PARAMETER, {}, [](Session &session) {
        const auto handle = open_server(session, "Kelvarpool:nodeA");
        session.clear();
        return plugin().mount_lsu(lsu(handle, "enc1:d1"), in_work("m").c_str(), 1, nullptr);
    });
}

CONFORMANCE_TEST("mount.no-disk-array",
                 "A handle without a disk array cannot mount, usually with STS_E_INVALID_PARAMETER; nothing is made.") {
    write_example_configs();
    const auto expect_refused = [](sts_server_handle_t handle) {
        const int32_t status = mount(handle, "enc1:d1", in_work("m"));
        if (status == STS_E_INVALID_PARAMETER)
            return;
        if (expect_true(status != 0, "status", status_text(STS_E_INVALID_PARAMETER), "0"))
            warn("status on a handle without a disk array", status_text(STS_E_INVALID_PARAMETER), status_text(status));
    };
    for (const char *name : {"copan:arr1", "Kelvarpool:"})
        expect_refused(open_server(new_session(), name));
    sts_server_handle_t failed = nullptr;
    plugin().open_server(new_session().pointer(), "nobody:x", &failed);
    expect_refused(failed);
    expect_absent(in_work("s1"));
}

CONFORMANCE_TEST("mount.any-mode", "Every mode but 0 mounts alike.") {
    write_example_configs();
    const auto handle = open_server(new_session(), "Kelvarpool:nodeA");
    owns_directory(in_work("s1"));
    owns_directory(in_work("s1/d1"));
    owns_link(in_work("m"));
    for (const uint32_t mode : {1U, 2U, 3U, 0x80000000U, 0xffffffffU})
        expect_status(mount(handle, "enc1:d1", in_work("m"), mode), 0);
}

CONFORMANCE_TEST("mount.created-handle", "A handle made for hosts mounts any group, whatever its hosts.") {
    write_example_configs();
    owns_directory(in_work("s2"));
    owns_directory(in_work("s2/e1"));
    owns_link(in_work("m"));
    expect_status(mount(create_server(new_session(), "Kelvarpool:nodeA", {"stranger"}), "enc2:e1", in_work("m")), 0);
    expect_link(in_work("m"), in_work("s2/e1"));
}

// ---- MOUNT_BEHAVIOR ------------------------------------------------------------------------------------------------

namespace {

struct Behavior {
    const char *id;
    std::string line;
    bool mounts;
};

const TestFamily behaviors([] {
    const std::vector<Behavior> family = {
        {"success", "MOUNT_BEHAVIOR = SUCCESS;", true},
        {"invalid-filesys", "MOUNT_BEHAVIOR = INVALID_FILESYS;", false},
        {"already-mounted", "MOUNT_BEHAVIOR = ALREADY_MOUNTED;", false},
        {"mount-mode-mismatch", "MOUNT_BEHAVIOR = MOUNT_MODE_MISMATCH;", false},
        {"max-read-mounts-exceeded", "MOUNT_BEHAVIOR = MAX_READ_MOUNTS_EXCEEDED;", false},
        {"max-write-mounts-exceeded", "MOUNT_BEHAVIOR = MAX_WRITE_MOUNTS_EXCEEDED;", false},
        {"mount-point-used", "MOUNT_BEHAVIOR = MOUNT_POINT_USED;", false},
        {"lower-case", "MOUNT_BEHAVIOR = success;", false},
        {"unknown-word", "MOUNT_BEHAVIOR = WHATEVER;", false},
        {"longer-word", "MOUNT_BEHAVIOR = SUCCESSFUL;", false},
        {"shorter-word", "MOUNT_BEHAVIOR = SUCC;", false},
        {"two-semicolons", "MOUNT_BEHAVIOR = SUCCESS;;", false},
        {"semicolon-only", "MOUNT_BEHAVIOR = ;", false},
        {"no-value", "MOUNT_BEHAVIOR =", false},
        {"without-semicolon", "MOUNT_BEHAVIOR = SUCCESS", false},
        {"other-last-character", "MOUNT_BEHAVIOR = SUCCESSx", true},
        {"blanks", "  MOUNT_BEHAVIOR  =  S U C C E S S ; ", true},
        {"last-one-counts", "MOUNT_BEHAVIOR = ALREADY_MOUNTED;\nMOUNT_BEHAVIOR = SUCCESS;", true},
        {"last-one-fails", "MOUNT_BEHAVIOR = SUCCESS;\nMOUNT_BEHAVIOR = MOUNT_POINT_USED;", false},
    };
    for (const Behavior &behavior : family)
        register_test({std::string("mount.behavior.") + behavior.id,
                       behavior.mounts ? "This MOUNT_BEHAVIOR carries mounts out."
                                       : "This MOUNT_BEHAVIOR fails every mount with STS_E_SYSTEM; nothing is made or "
                                         "logged, not even for an unknown group.",
                       [behavior] {
                           write_pool("STORAGE_DIR = " + in_work("s") + ";\n" + behavior.line);
                           if (behavior.mounts) {
                               owns_directory(in_work("s"));
                               owns_directory(in_work("s/d"));
                               owns_link(in_work("m"));
                           }
                           for (const char *name : {"g:d", "nosuchgroup:d"}) {
                               if (behavior.mounts && name[0] == 'n')
                                   continue;
                               expect_under_every_mask(behavior.mounts ? 0 : static_cast<int32_t>(STS_E_SYSTEM),
                                                       {entering(mount_lsu_name), leaving(mount_lsu_name)},
                                                       [&](Session &session) {
                                                           const auto handle = open_server(session, "Kelvarpool:nodeA");
                                                           session.clear();
                                                           return mount(handle, name, in_work("m"));
                                                       });
                           }
                       },
                       false});
});

}  // namespace

// ---- groups and storage directories --------------------------------------------------------------------------------

CONFORMANCE_TEST("mount.unknown-group",
                 "An unknown group gives STS_E_SYSTEM and one message that no mask holds back; nothing is made.") {
    write_example_configs();
    for (const auto &[name, group] :
         {std::pair{"nosuch:d1", "nosuch"}, std::pair{"ENC1:d1", "ENC1"}, std::pair{"", ""}, std::pair{"d1", "d1"},
          std::pair{"%s%n:v", "%s%n"}, std::pair{"enc1 :d1", "enc1 "}})
        expect_under_every_mask(STS_E_SYSTEM,
                                {entering(mount_lsu_name), unmasked(std::string("Unknown Diskgroup: ") + group + "\n"),
                                 leaving(mount_lsu_name)},
                                [given = name](Session &session) {
                                    const auto handle = open_server(session, "Kelvarpool:nodeA");
                                    session.clear();
                                    return mount(handle, given, in_work("m"));
                                });
}

CONFORMANCE_TEST("mount.first-group-of-a-name", "Of two groups of one name the first is mounted.") {
    write_config("Kelvarpool", "ENCLOSURE = g;\nSTORAGE_DIR = " + in_work("one") +
                                   ";\nENCLOSURE = g;\nSTORAGE_DIR = " + in_work("two") + ";\n");
    owns_directory(in_work("one"));
    owns_directory(in_work("one/v"));
    owns_link(in_work("m"));
    expect_status(mount(open_server(new_session(), "Kelvarpool:nodeA"), "g:v", in_work("m")), 0);
}

CONFORMANCE_TEST("mount.default-storage",
                 "A group without a storage directory gets /tmp/GROUP, for as long as the server is open.") {
    const std::string group = fmt::format("stspi-conformance-{}", getpid());
    owns_directory("/tmp/" + group);
    owns_directory("/tmp/" + group + "/v");
    owns_link(in_work("m"));
    for (const char *line : {"", "STORAGE_DIR = ;\n", "STORAGE_DIR =\n"}) {
        remove_config("Kelvarpool");
        write_config("Kelvarpool", "ENCLOSURE = " + group + ";\n" + line);
        const auto handle = open_server(new_session(), "Kelvarpool:nodeA");
        expect_status(mount(handle, group + ":v", in_work("m")), 0);
        expect_link(in_work("m"), "/tmp/" + group + "/v");
        expect_status(mount(handle, group + ":v", in_work("m")), 0);
        expect_link(in_work("m"), "/tmp/" + group + "/v");
    }
}

CONFORMANCE_TEST("mount.storage-without-semicolon", "A storage directory loses its last character, whatever that is.") {
    write_pool("STORAGE_DIR = " + in_work("stor") + "X");
    owns_directory(in_work("stor"));
    owns_directory(in_work("stor/d"));
    owns_link(in_work("m"));
    expect_status(mount(open_server(new_session(), "Kelvarpool:nodeA"), "g:d", in_work("m")), 0);
    expect_link(in_work("m"), in_work("stor/d"));
}

CONFORMANCE_TEST("mount.storage-last-line-counts",
                 "A later STORAGE_DIR replaces an earlier one; another section's does not count.") {
    write_config("Kelvarpool",
                 fmt::format("DISKGROUP = x;\nSTORAGE_DIR = {0}/no;\nENCLOSURE = g;\nSTORAGE_DIR = {0}/one;\n"
                             "STORAGE_DIR = {0}/two;\nENCLOSURE = h;\nSTORAGE_DIR = {0}/three;\n",
                             work_directory()));
    owns_directory(in_work("two"));
    owns_directory(in_work("two/d"));
    owns_link(in_work("m"));
    expect_status(mount(open_server(new_session(), "Kelvarpool:nodeA"), "g:d", in_work("m")), 0);
}

CONFORMANCE_TEST("mount.existing-directories",
                 "Storage and volume directories that are there already are used as they are.") {
    write_example_configs();
    for (const char *name : {"s1", "s1/d1"}) {
        mkdir(in_work(name).c_str(), 0755);
        owns_directory(in_work(name));
    }
    owns_link(in_work("m"));
    expect_status(mount(open_server(new_session(), "Kelvarpool:nodeA"), "enc1:d1", in_work("m")), 0);
    struct stat status;
    stat(in_work("s1/d1").c_str(), &status);
    expect_mode("mode of the volume's directory", status.st_mode & 0777, 0755);
}

CONFORMANCE_TEST("mount.storage-fails",
                 "A storage directory that cannot be made gives STS_E_SYSTEM without a message; nothing is made.") {
    make_file(in_work("file"));
    for (const char *directory : {"no/such/parent", "file/below"}) {
        write_pool("STORAGE_DIR = " + in_work(directory) + ";");
        expect_under_every_mask(STS_E_SYSTEM, {entering(mount_lsu_name), leaving(mount_lsu_name)},
                                [](Session &session) {
                                    const auto handle = open_server(session, "Kelvarpool:nodeA");
                                    session.clear();
                                    return mount(handle, "g:d", in_work("mnt/m"));
                                });
        expect_absent(in_work("mnt"));
    }
}

CONFORMANCE_TEST(
    "mount.volume-fails",
    "A volume directory that cannot be made gives STS_E_SYSTEM without a message; the storage directory stays.") {
    write_example_configs();
    owns_directory(in_work("s1"));
    for (const std::string &volume : {std::string("no/such"), std::string(300, 'v')})
        expect_under_every_mask(STS_E_SYSTEM, {entering(mount_lsu_name), leaving(mount_lsu_name)},
                                [&](Session &session) {
                                    const auto handle = open_server(session, "Kelvarpool:nodeA");
                                    session.clear();
                                    return mount(handle, "enc1:" + volume, in_work("mnt/m"));
                                });
    expect_absent(in_work("mnt"));
}

// ---- mount points --------------------------------------------------------------------------------------------------

CONFORMANCE_TEST("mount.again", "Mounting again at the same place succeeds, ten times, and leaves one link.") {
    write_example_configs();
    const auto handle = open_server(new_session(), "Kelvarpool:nodeA");
    owns_directory(in_work("s1"));
    owns_directory(in_work("s1/d1"));
    owns_link(in_work("m"));
    for (int round = 0; round < 10; ++round)
        expect_status(mount(handle, "enc1:d1", in_work("m")), 0);
    expect_link(in_work("m"), in_work("s1/d1"));
}

CONFORMANCE_TEST("mount.re-points", "Mounting another volume at the same place re-points the link.") {
    write_example_configs();
    const auto handle = open_server(new_session(), "Kelvarpool:nodeA");
    owns_directory(in_work("s1"));
    owns_directory(in_work("s1/d1"));
    owns_directory(in_work("s2"));
    owns_directory(in_work("s2/e1"));
    owns_link(in_work("m"));
    expect_status(mount(handle, "enc1:d1", in_work("m")), 0);
    expect_status(mount(handle, "enc2:e1", in_work("m")), 0);
    expect_link(in_work("m"), in_work("s2/e1"));
}

CONFORMANCE_TEST("mount.replaces-file", "A file at the mount point is replaced by the link.") {
    write_example_configs();
    std::ofstream(in_work("m")) << "x";
    owns_directory(in_work("s1"));
    owns_directory(in_work("s1/d1"));
    owns_link(in_work("m"));
    expect_status(mount(open_server(new_session(), "Kelvarpool:nodeA"), "enc1:d1", in_work("m")), 0);
    expect_link(in_work("m"), in_work("s1/d1"));
}

CONFORMANCE_TEST("mount.replaces-dangling-link", "A link to nowhere at the mount point is replaced.") {
    write_example_configs();
    expect_number("symlink", symlink("/no/such/place", in_work("m").c_str()), 0);
    owns_directory(in_work("s1"));
    owns_directory(in_work("s1/d1"));
    owns_link(in_work("m"));
    expect_status(mount(open_server(new_session(), "Kelvarpool:nodeA"), "enc1:d1", in_work("m")), 0);
    expect_link(in_work("m"), in_work("s1/d1"));
}

CONFORMANCE_TEST("mount.directory-stays",
                 "A real directory at the mount point stays: STS_E_SYSTEM and \"unlink failed: errno 21\".") {
    write_example_configs();
    mkdir(in_work("m").c_str(), 0755);
    owns_directory(in_work("m"));
    make_file(in_work("m/kept"));
    owns_directory(in_work("s1"));
    owns_directory(in_work("s1/d1"));
    for (const char *point : {"m", "m/"})
        expect_under_every_mask(
            STS_E_SYSTEM, {entering(mount_lsu_name), unmasked("unlink failed: errno 21\n"), leaving(mount_lsu_name)},
            [&](Session &session) {
                const auto handle = open_server(session, "Kelvarpool:nodeA");
                session.clear();
                return mount(handle, "enc1:d1", in_work(point));
            });
    expect_true(access(in_work("m/kept").c_str(), F_OK) == 0, in_work("m/kept"), "still there", "gone");
}

CONFORMANCE_TEST(
    "mount.parent-fails",
    "A parent directory that cannot be made gives STS_E_SYSTEM and its message; earlier directories stay.") {
    write_example_configs();
    make_file(in_work("file"));
    owns_directory(in_work("s1"));
    owns_directory(in_work("s1/d1"));
    expect_under_every_mask(
        STS_E_SYSTEM,
        {entering(mount_lsu_name), unmasked("problem creating mount path directory"), leaving(mount_lsu_name)},
        [](Session &session) {
            const auto handle = open_server(session, "Kelvarpool:nodeA");
            session.clear();
            return mount(handle, "enc1:d1", in_work("file/x/m"));
        });
    owns_directory(in_work("made"));
    expect_status(mount(open_server(new_session(), "Kelvarpool:nodeA"), "enc1:d1",
                        in_work("made/") + std::string(300, 'p') + "/m"),
                  STS_E_SYSTEM);
}

CONFORMANCE_TEST("mount.link-fails",
                 "A link that cannot be made gives STS_E_SYSTEM and \"symlink failed: errno\" with the number.") {
    write_example_configs();
    make_file(in_work("file"));
    owns_directory(in_work("s1"));
    owns_directory(in_work("s1/d1"));
    for (const auto &[point, number] :
         {std::pair{in_work("file/m"), ENOTDIR}, std::pair{in_work(std::string(300, 'm')), ENAMETOOLONG},
          std::pair{std::string(), ENOENT}, std::pair{std::string("/"), ENOENT}})
        expect_under_every_mask(STS_E_SYSTEM,
                                {entering(mount_lsu_name), unmasked(fmt::format("symlink failed: errno {}\n", number)),
                                 leaving(mount_lsu_name)},
                                [given = point](Session &session) {
                                    const auto handle = open_server(session, "Kelvarpool:nodeA");
                                    session.clear();
                                    return mount(handle, "enc1:d1", given);
                                });
}

CONFORMANCE_TEST("mount.one-trailing-slash",
                 "One '/' at the end of the mount point is taken off for the link, and stays in the result.") {
    write_example_configs();
    owns_directory(in_work("s1"));
    owns_directory(in_work("s1/d1"));
    owns_directory(in_work("mnt"));
    owns_link(in_work("mnt/a"));
    expect_status(mount(open_server(new_session(), "Kelvarpool:nodeA"), "enc1:d1", in_work("mnt/a/")), 0);
    expect_link(in_work("mnt/a"), in_work("s1/d1"));
}

CONFORMANCE_TEST(
    "mount.two-trailing-slashes",
    "Only one '/' is taken off: with two the mount point's own name is made a directory, which then stays.") {
    write_example_configs();
    owns_directory(in_work("s1"));
    owns_directory(in_work("s1/d1"));
    owns_directory(in_work("a"));
    expect_under_every_mask(STS_E_SYSTEM,
                            {entering(mount_lsu_name), unmasked("unlink failed: errno 21\n"), leaving(mount_lsu_name)},
                            [](Session &session) {
                                const auto handle = open_server(session, "Kelvarpool:nodeA");
                                session.clear();
                                return mount(handle, "enc1:d1", in_work("a//"));
                            });
}

CONFORMANCE_TEST("mount.relative-point", "A relative mount point counts from the working directory.") {
    write_example_configs();
    owns_directory(in_work("s1"));
    owns_directory(in_work("s1/d1"));
    owns_directory(in_work("rel"));
    owns_link(in_work("rel/m"));
    owns_link(in_work("x"));
    const auto handle = open_server(new_session(), "Kelvarpool:nodeA");
    expect_status(mount(handle, "enc1:d1", "rel/m"), 0);
    expect_status(mount(handle, "enc1:d1", "x"), 0);
    expect_link(in_work("rel/m"), in_work("s1/d1"));
    expect_link(in_work("x"), in_work("s1/d1"));
}

CONFORMANCE_TEST("mount.doubled-slashes", "Doubled '/' inside a mount point do no harm.") {
    write_example_configs();
    owns_directory(in_work("s1"));
    owns_directory(in_work("s1/d1"));
    owns_directory(in_work("mnt"));
    owns_link(in_work("mnt/m"));
    expect_status(mount(open_server(new_session(), "Kelvarpool:nodeA"), "enc1:d1", in_work("/mnt//m")), 0);
    expect_link(in_work("mnt/m"), in_work("s1/d1"));
}

CONFORMANCE_TEST("mount.long-result", "A result beyond its buffer is cut at 1,023 bytes.") {
    write_example_configs();
    const std::string part(200, 'p');
    std::string point = work_directory();
    owns_directory(in_work("s1"));
    owns_directory(in_work("s1/") + std::string(255, 'v'));
    for (int i = 0; i < 4; ++i) {
        point += "/" + part;
        owns_directory(point);
    }
    point += "/m";
    owns_link(point);
    expect_status(mount(open_server(new_session(), "Kelvarpool:nodeA"), "enc1:" + std::string(255, 'v'), point), 0);
}

CONFORMANCE_TEST("mount.long-point",
                 "Mount points of 3,000 and more bytes are refused by the file system and overrun nothing.") {
    write_example_configs();
    owns_directory(in_work("s1"));
    owns_directory(in_work("s1/d1"));
    const auto handle = open_server(new_session(), "Kelvarpool:nodeA");
    for (const size_t length : {3000UL, 4095UL, 4096UL, 4097UL, 10000UL})
        expect_refusal_of_the_unfit(mount(handle, "enc1:d1", "/" + std::string(length, 'm')));
}

CONFORMANCE_TEST("mount.unterminated-name", "A name that fills its field is read no further.") {
    write_example_configs();
    const GuardedMemory memory(sizeof(stsp_lsu_v7_t), 'n');
    auto *record = static_cast<stsp_lsu_v7_t *>(memory.data());
    record->server = open_server(new_session(), "Kelvarpool:nodeA");
    Watched<Result> result;
    expect_refusal_of_the_unfit(plugin().mount_lsu(record, in_work("m").c_str(), 1, result->text));
    register_resource(nullptr, in_work("s1"), [] { rmdir(in_work("s1").c_str()); });  // made or not
    put_text(record->lsu_name, "enc1:");
    std::memset(record->lsu_name + 5, 'v', sizeof record->lsu_name - 5);
    expect_refusal_of_the_unfit(plugin().mount_lsu(record, in_work("m").c_str(), 1, result->text));
    result.expect_untouched("mount result");
}

CONFORMANCE_TEST("mount.unmount-keeps-link", "Unmounting changes nothing: the link stays where it is.") {
    write_example_configs();
    owns_directory(in_work("s1"));
    owns_directory(in_work("s1/d1"));
    owns_link(in_work("m"));
    expect_status(mount(open_server(new_session(), "Kelvarpool:nodeA"), "enc1:d1", in_work("m")), 0);
    expect_status(plugin().unmount_lsu(), 0);
    expect_link(in_work("m"), in_work("s1/d1"));
}

}  // namespace conformance
