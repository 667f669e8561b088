#include "tests/support/plugin_listing.h"

#include <fmt/format.h>

#include <algorithm>
#include <iostream>
#include <map>
#include <memory>
#include <set>
#include <sstream>

#include "copan/copan_config_reader.h"
#include "redirect/config_redirect.h"
#include "sim/config_file.h"
#include "sim/orv_sim_storage_server.h"
#include "stspi/sts_status.h"

namespace {

using Lines = std::vector<std::string>;

// What is printed on std::cout while an object of this class lives.
class PrintedText {
public:
    PrintedText() : m_before(std::cout.rdbuf(m_text.rdbuf())) {}
    ~PrintedText() { std::cout.rdbuf(m_before); }
    PrintedText(const PrintedText &) = delete;
    PrintedText &operator=(const PrintedText &) = delete;
    std::string text() const { return m_text.str(); }

private:
    std::ostringstream m_text;
    std::streambuf *m_before;
};

template <class A, class B>
void expect_same(Lines &lines, const std::string &what, const A &outline, const B &plugin) {
    if (!(outline == plugin))
        lines.push_back(fmt::format("{}: the checker has {}, the plug-in {}", what, outline, plugin));
}

std::string joined(const std::vector<std::string> &names) { return fmt::format("<{}>", fmt::join(names, "><")); }

std::vector<std::string> names_of(const std::vector<ListedName> &listed) {
    std::vector<std::string> names;
    for (const ListedName &each : listed)
        names.push_back(each.name);
    return names;
}

std::vector<std::string> names_of(const NameList *list) {
    std::vector<std::string> names;
    for (size_t i = 0; i < name_count(list); ++i)
        names.emplace_back(c_text((*list)[i]));
    return names;
}

std::vector<std::string> sorted_hosts(const PoolOutline &pool) {
    std::set<std::string> hosts;
    for (const ListedName &host : pool.hosts)
        hosts.insert(host.name);
    return {hosts.begin(), hosts.end()};
}

std::vector<std::string> sorted_hosts(HostSet &set) {
    std::set<std::string> hosts;
    for (auto entry = set.begin(); entry != set.end(); ++entry)
        hosts.insert(c_text((*entry).ext_id_));
    return {hosts.begin(), hosts.end()};
}

std::vector<std::string> listed_pools(OrvSimStorageServer &array, const std::string &host) {
    NameList hosts(1);
    hosts[0] = host.c_str();
    const std::unique_ptr<DiskGroupTable> pools(array.getPoolLSUList(&hosts, true));
    std::vector<std::string> names;
    for (size_t i = 0; i < pools->size(); ++i)
        names.emplace_back(c_text((*pools)[i].name));
    return names;
}

bool lists(const PoolOutline &pool, const std::string &host) {
    return std::any_of(pool.hosts.begin(), pool.hosts.end(), [&](const ListedName &each) { return each.name == host; });
}

std::vector<std::string> expected_pools(const Outline &outline, const std::string &host) {
    std::vector<std::string> names;
    for (const PoolOutline &pool : outline.pools)
        if (lists(pool, host) && std::find(names.begin(), names.end(), pool.name.name) == names.end())
            names.push_back(pool.name.name);
    std::reverse(names.begin(), names.end());
    return names;
}

int expected_mount_status(const std::string &behavior) {
    static const std::map<std::string, int> statuses = {{"SUCCESS", -1},  // the pool that is asked for does not exist
                                                        {"INVALID_FILESYS", STS_E_INVALID_FILESYS},
                                                        {"ALREADY_MOUNTED", STS_E_ALREADY_MOUNTED},
                                                        {"MOUNT_MODE_MISMATCH", STS_E_MOUNT_MODE_MISMATCH},
                                                        {"MAX_READ_MOUNTS_EXCEEDED", STS_E_MAX_READ_MOUNTS_EXCEEDED},
                                                        {"MAX_WRITE_MOUNTS_EXCEEDED", STS_E_MAX_WRITE_MOUNTS_EXCEEDED},
                                                        {"MOUNT_POINT_USED", STS_E_MOUNT_POINT_USED}};
    const auto status = statuses.find(behavior);
    return status != statuses.end() ? status->second : STS_E_MOUNT_FAILED;
}

int mount_status(OrvSimStorageServer &array) { return array.mountLSU("no pool", "", 0, "", "/nowhere"); }

std::set<std::string> all_hosts(const Outline &outline) {
    std::set<std::string> hosts = {"nobody"};
    for (const PoolOutline &pool : outline.pools)
        for (const ListedName &host : pool.hosts)
            hosts.insert(host.name);
    return hosts;
}

void compare_pools(const Outline &outline, OrvSimStorageServer &array, Lines &lines) {
    std::set<std::string> seen;
    for (const PoolOutline &pool : outline.pools) {
        if (!seen.insert(pool.name.name).second)
            continue;
        const diskgroup_t *group = array.getPoolLSUInfo(pool.name.name.c_str());
        if (group == nullptr) {
            lines.push_back(fmt::format("pool <{}>: unknown to the plug-in", pool.name.name));
            continue;
        }
        const std::string name = fmt::format("pool <{}>: ", pool.name.name);
        expect_same(lines, name + "disks", joined(names_of(pool.disks)), joined(names_of(group->disks)));
        expect_same(lines, name + "volumes", joined(names_of(pool.disks)), joined(names_of(group->volumes)));
        expect_same(lines, name + "disk size", pool.disk_size, group->disk_size);
        expect_same(lines, name + "volume size", pool.disk_size, group->volume_size);
        expect_same(lines, name + "storage directory", pool.storage_dir, std::string(c_text(group->storage_dir)));
        expect_same(lines, name + "has hosts", pool.has_hosts, group->hosts != nullptr);
        if (pool.has_hosts && group->hosts != nullptr)
            expect_same(lines, name + "hosts", joined(sorted_hosts(pool)), joined(sorted_hosts(*group->hosts)));
    }
}

Lines array_disagreements(const CheckedFile &file) {
    Lines lines;
    const Outline &outline = file.outline;
    std::string printed;
    for (const size_t line : outline.invalid_lines)
        printed += fmt::format("Invalid line: {}\n", line);
    const PrintedText plugin_text;
    OrvSimStorageServer array("Kelvarpool:host");
    expect_same(lines, "printed", printed, plugin_text.text());
    for (const std::string &host : all_hosts(outline))
        expect_same(lines, fmt::format("pools of host <{}>", host), joined(expected_pools(outline, host)),
                    joined(listed_pools(array, host)));
    compare_pools(outline, array, lines);
    expect_same(lines, "mount status", expected_mount_status(outline.mount_behavior), mount_status(array));
    const std::string udid = outline.udid_token.empty() ? "v" : "#UDID#" + outline.udid_token + "#v#";
    expect_same(lines, "identifier", udid, std::string(c_text(array.getUDID("v"))));
    return lines;
}

File opened(const std::string &name) { return open_configuration(name, "r"); }

Lines copan_disagreements(const CheckedFile &file) {
    Lines lines;
    const Outline &outline = file.outline;
    std::set<std::string> names = {"nobody"};
    for (const ServerOutline &server : outline.servers)
        if (server.is_read)
            names.insert(server.name.name);
    for (const std::string &name : names) {
        std::vector<std::string> expected;
        std::string expected_dir;
        bool is_found = false;
        for (const ServerOutline &server : outline.servers) {
            if (!server.is_read || short_server_name(server.name.name) != short_server_name(name))
                continue;
            is_found = true;
            for (const ListedName &volume : server.volumes)
                expected.push_back(volume.name);
            expected_dir = server.storage_dir.value_or(expected_dir);
        }
        std::vector<std::string> volumes;
        std::string storage_dir;
        const PrintedText plugin_text;
        const CopanReading reading = read_copan_configuration(opened("copan").get(), name, volumes, storage_dir);
        const std::string of = fmt::format("server <{}>: ", name);
        expect_same(lines, of + "volumes", joined(expected), joined(volumes));
        expect_same(lines, of + "storage directory", expected_dir, storage_dir);
        const CopanReading expected_reading = outline.reading_ends ? CopanReading::stopped
                                              : is_found           ? CopanReading::found
                                                                   : CopanReading::not_found;
        expect_same(lines, of + "reading", static_cast<int>(expected_reading), static_cast<int>(reading));
        expect_same(lines, of + "printed", std::string(outline.reading_ends ? "'=' not found\n" : ""),
                    plugin_text.text());
    }
    return lines;
}

void serve(const CheckedFile &file) {
    clear_config_texts();
    set_config_text(file.outline.grammar == Grammar::array ? "Kelvarpool.sim" : "copan.sim", file.source.bytes());
}

Lines array_promises(const Outline &outline) {
    Lines lines;
    const PrintedText plugin_text;
    OrvSimStorageServer array("Kelvarpool:host");
    for (const PoolOutline &pool : outline.pools) {
        for (const ListedName &host : pool.hosts) {
            const std::vector<std::string> pools = listed_pools(array, host.name);
            if (std::find(pools.begin(), pools.end(), pool.name.name) == pools.end())
                lines.push_back(fmt::format("pool <{}> is not listed for host <{}>", pool.name.name, host.name));
        }
        if (pool.hosts.empty())
            lines.push_back(fmt::format("pool <{}> has no hosts", pool.name.name));
        for (const ListedName &disk : pool.disks) {
            const std::unique_ptr<DynamicLSUInfo> info(array.getDynamicLSUInfo(disk.name.c_str(), nullptr));
            if (info == nullptr || info->capacity != pool.disk_size || pool.disk_size == 0)
                lines.push_back(fmt::format("disk <{}> is not found in pool <{}>", disk.name, pool.name.name));
        }
    }
    if (mount_status(array) != -1)
        lines.emplace_back("mounts fail");
    if (!plugin_text.text().empty())
        lines.emplace_back("the plug-in prints something");
    return lines;
}

Lines copan_promises(const Outline &outline) {
    Lines lines;
    for (const ServerOutline &server : outline.servers) {
        std::vector<std::string> volumes;
        std::string storage_dir;
        if (read_copan_configuration(opened("copan").get(), server.name.name, volumes, storage_dir) !=
            CopanReading::found)
            lines.push_back(fmt::format("server <{}> is not served", server.name.name));
        if (joined(volumes) != joined(names_of(server.volumes)) || volumes.empty() || storage_dir.empty())
            lines.push_back(fmt::format("server <{}> lacks something", server.name.name));
        if (std::set<std::string>(volumes.begin(), volumes.end()).size() != volumes.size())
            lines.push_back(fmt::format("server <{}> has a volume twice", server.name.name));
    }
    return lines;
}

}  // namespace

std::vector<std::string> disagreements(const CheckedFile &file) {
    serve(file);
    Lines lines = file.outline.grammar == Grammar::array ? array_disagreements(file) : copan_disagreements(file);
    clear_config_texts();
    return lines;
}

std::vector<std::string> broken_promises(const CheckedFile &file) {
    if (!file.findings.empty())
        return {};
    serve(file);
    Lines lines = file.outline.grammar == Grammar::array ? array_promises(file.outline) : copan_promises(file.outline);
    clear_config_texts();
    return lines;
}
