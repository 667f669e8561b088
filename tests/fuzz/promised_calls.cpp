#include "tests/fuzz/promised_calls.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <iostream>
#include <memory>
#include <set>
#include <sstream>

#include "redirect/config_redirect.h"
#include "stspi/stsimg.h"
#include "stspi/stspi.h"
#include "tests/fuzz/sandbox.h"
#include "tests/support/servers.h"

namespace {

constexpr char image_root[] = "/images-of-the-fuzz-target";

using Lines = std::vector<std::string>;

// What the calls find wrong.
class Trial {
public:
    void expect(bool holds, const std::string &what) {
        if (!holds)
            m_lines.push_back(what);
    }
    void expect_success(int32_t status, const std::string &what) {
        if (status != 0)
            m_lines.push_back(fmt::format("{}: status {} ({})", what, status, stsimg_last_error()));
    }
    Lines take() { return std::move(m_lines); }

private:
    Lines m_lines;
};

std::vector<std::string> names_of(sts_lsu_list_handle_t list, const std::string &what, Trial &trial) {
    std::vector<std::string> names;
    char name[STS_LSU_NAME_SIZE];
    int32_t status = 0;
    while ((status = stspi_list_lsu(list, name)) == 0)
        names.emplace_back(name);
    trial.expect(status == STS_E_NO_MORE_ENTRIES, fmt::format("{}: the list ends with {}", what, status));
    stspi_close_lsu_list(list);
    return names;
}

std::vector<std::string> listed_images(const stsp_lsu_v7_t &lsu, Trial &trial) {
    std::vector<std::string> names;
    sts_image_list_handle_t list = nullptr;
    const std::string what = fmt::format("list of images of <{}>", lsu.lsu_name);
    const int32_t status = stspi_open_image_list(&lsu, 0, &list);
    trial.expect_success(status, what);
    if (status != 0)
        return names;
    sts_image_definition_t definition{};
    while (stspi_list_image(list, &definition) == 0)
        names.emplace_back(definition.name);
    stspi_close_image_list(list);
    return names;
}

sts_image_definition_t image_of(size_t number) {
    sts_image_definition_t definition{};
    std::snprintf(definition.name, sizeof definition.name, "image%zu", number);
    return definition;
}

void write_image(const stsp_lsu_v7_t &lsu, size_t number, Trial &trial) {
    const std::string what = fmt::format("image of <{}>", lsu.lsu_name);
    const sts_image_definition_t definition = image_of(number);
    sts_image_handle_t image = nullptr;
    int32_t status = stspi_create_image(&lsu, &definition, 0, &image);
    trial.expect_success(status, "create " + what);
    if (status != 0)
        return;
    uint64_t count = 0;
    trial.expect_success(stspi_write_image(image, nullptr, lsu.lsu_name, 8, 0, &count), "write " + what);
    trial.expect_success(stspi_close_image(image), "close " + what);
}

// Each LSU holds its own image and no other's.
void read_image(const stsp_lsu_v7_t &lsu, size_t number, Trial &trial) {
    const std::string what = fmt::format("image of <{}>", lsu.lsu_name);
    const sts_image_definition_t definition = image_of(number);
    const std::vector<std::string> names = listed_images(lsu, trial);
    trial.expect(names == std::vector<std::string>{definition.name},
                 fmt::format("{}: {} are listed", what, names.size()));
    sts_image_info_t info{};
    trial.expect_success(stspi_get_image_prop_byname(&lsu, &definition, &info), "properties of the " + what);
    sts_image_handle_t image = nullptr;
    const int32_t status = stspi_open_image(&lsu, &definition, STSIMG_MODE_READ, &image);
    trial.expect_success(status, "open " + what);
    if (status == 0) {
        char bytes[8] = {};
        uint64_t count = 0;
        trial.expect_success(stspi_read_image(image, bytes, 8, 0, &count), "read " + what);
        trial.expect(std::memcmp(bytes, lsu.lsu_name, 8) == 0, what + " holds something else");
        trial.expect_success(stspi_close_image(image), "close " + what);
    }
    trial.expect_success(stspi_delete_image(&lsu, &definition, 0), "delete " + what);
}

void use_images(const std::vector<stsp_lsu_v7_t> &lsus, Trial &trial) {
    for (size_t i = 0; i < lsus.size(); ++i)
        write_image(lsus[i], i, trial);
    for (size_t i = 0; i < lsus.size(); ++i)
        read_image(lsus[i], i, trial);
}

void mount(const stsp_lsu_v7_t &lsu, const std::string &directory, Trial &trial) {
    char result[STS_MOUNT_RESULT_SIZE];
    for (int times = 0; times < 2; ++times)
        trial.expect_success(stspi_mount_lsu(&lsu, "/mount/point", 1, 0, result),
                             fmt::format("mount of <{}>", lsu.lsu_name));
    char target[8192] = {};
    const ssize_t length = readlink(sandboxed("/mount/point").c_str(), target, sizeof target - 1);
    trial.expect(length > 0 && directory == target, fmt::format("<{}> is mounted as {}", lsu.lsu_name, target));
    struct stat state {};
    trial.expect(stat(target, &state) == 0 && S_ISDIR(state.st_mode),
                 fmt::format("<{}> is mounted from no directory", lsu.lsu_name));
}

std::string identifier_of(const Outline &outline, const std::string &disk) {
    return outline.udid_token.empty() ? disk : "#UDID#" + outline.udid_token + "#" + disk + "#";
}

void use_pool(const Outline &outline, const PoolOutline &pool, std::vector<stsp_lsu_v7_t> &lsus,
              const OpenedServer &server, Trial &trial) {
    const std::string &name = pool.name.name;
    const stsp_lsu_v7_t lsu = server.lsu(name);
    lsus.push_back(lsu);
    sts_lsu_info_v9_t info{};
    trial.expect_success(stspi_get_lsu_prop_byname(&lsu, &info), "properties of pool " + name);
    trial.expect(info.capacity_bytes / pool.disks.size() == pool.disk_size, "capacity of pool " + name);
    sts_lsu_list_handle_t list = nullptr;
    trial.expect_success(stspi_open_dynamic_lsu_list(&lsu, &list), "volumes of pool " + name);
    const std::vector<std::string> volumes = names_of(list, "volumes of " + name, trial);
    std::vector<std::string> expected;
    for (const ListedName &disk : pool.disks)
        expected.push_back(identifier_of(outline, disk.name));
    trial.expect(volumes == expected, "volumes of pool " + name);
    for (const ListedName &disk : pool.disks) {
        const std::string identifier = identifier_of(outline, disk.name);
        for (const std::string &volume : {disk.name, identifier}) {
            const stsp_lsu_v7_t volume_lsu = server.lsu(name + ":" + volume);
            trial.expect_success(stspi_get_lsu_prop_byname(&volume_lsu, &info), "properties of volume " + volume);
            trial.expect(info.capacity_bytes == pool.disk_size && disk.name == info.lsu_name,
                         "size of volume " + volume);
            mount(volume_lsu, pool.storage_dir + "/" + volume, trial);
        }
        lsus.push_back(server.lsu(name + ":" + disk.name));
    }
}

void use_array(const Outline &outline, Trial &trial) {
    std::set<std::string> hosts;
    for (const PoolOutline &pool : outline.pools) {
        make_directories(pool.storage_dir + "/..");
        for (const ListedName &host : pool.hosts)
            hosts.insert(host.name);
    }
    std::vector<stsp_lsu_v7_t> lsus;
    std::vector<std::unique_ptr<OpenedServer>> servers;
    std::set<std::string> used;
    for (const std::string &host : hosts) {
        const std::string server_name = "Kelvarpool:" + host;
        const OpenedServer single(nullptr, server_name.c_str());
        trial.expect_success(single.status(), "open " + server_name);
        servers.push_back(std::make_unique<OpenedServer>(nullptr, server_name.c_str(), std::vector<std::string>{host}));
        const OpenedServer &server = *servers.back();
        trial.expect_success(server.status(), "create " + server_name);
        sts_lsu_list_handle_t list = nullptr;
        trial.expect_success(stspi_open_lsu_list(server.handle(), nullptr, &list), "pools of " + host);
        const std::vector<std::string> listed = names_of(list, "pools of " + host, trial);
        for (const PoolOutline &pool : outline.pools) {
            const bool is_for_host = std::any_of(pool.hosts.begin(), pool.hosts.end(),
                                                 [&](const ListedName &each) { return each.name == host; });
            trial.expect(is_for_host == (std::find(listed.begin(), listed.end(), pool.name.name) != listed.end()),
                         "pool " + pool.name.name + " for host " + host);
            if (is_for_host && used.insert(pool.name.name).second)
                use_pool(outline, pool, lsus, server, trial);
        }
    }
    use_images(lsus, trial);
}

void use_copan(const Outline &outline, Trial &trial) {
    std::vector<stsp_lsu_v7_t> lsus;
    std::vector<std::unique_ptr<OpenedServer>> servers;
    for (const ServerOutline &section : outline.servers) {
        make_directories(*section.storage_dir + "/..");
        const std::string server_name = "copan:" + section.name.name;
        servers.push_back(std::make_unique<OpenedServer>(nullptr, server_name.c_str()));
        const OpenedServer &server = *servers.back();
        trial.expect_success(server.status(), "open " + server_name);
        sts_lsu_list_handle_t list = nullptr;
        trial.expect_success(stspi_open_lsu_list(server.handle(), nullptr, &list), "list of " + server_name);
        std::vector<std::string> expected;
        for (const ListedName &volume : section.volumes) {
            expected.push_back(volume.name);
            lsus.push_back(server.lsu(volume.name));
            sts_lsu_info_v9_t info{};
            trial.expect_success(stspi_get_lsu_prop_byname(&lsus.back(), &info), "properties of " + volume.name);
            trial.expect(volume.name == info.lsu_name && section.name.name == info.server_name,
                         "names of " + volume.name);
        }
        trial.expect(names_of(list, server_name, trial) == expected, "volumes of " + server_name);
    }
    use_images(lsus, trial);
}

// Keeps what the readers print from the log of the run.
class Silence {
public:
    Silence() : m_before(std::cout.rdbuf(m_printed.rdbuf())) {}
    ~Silence() { std::cout.rdbuf(m_before); }
    Silence(const Silence &) = delete;
    Silence &operator=(const Silence &) = delete;

private:
    std::ostringstream m_printed;
    std::streambuf *m_before;
};

}  // namespace

std::vector<std::string> broken_calls(const CheckedFile &file, bool &used) {
    used = file.findings.empty();
    if (!used)
        return {};
    setenv("STSIMAGE_ROOT", image_root, 1);
    const bool is_array = file.outline.grammar == Grammar::array;
    clear_config_texts();
    set_config_text(is_array ? "Kelvarpool.sim" : "copan.sim", file.source.bytes());
    Trial trial;
    {
        const Silence silence;
        const InSandbox sandbox;
        is_array ? use_array(file.outline, trial) : use_copan(file.outline, trial);
    }
    clear_config_texts();
    empty_sandbox();
    return trial.take();
}
