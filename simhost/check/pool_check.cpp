#include "simhost/check/pool_check.h"

#include <fmt/format.h>

#include <algorithm>
#include <unordered_map>

#include "simhost/report/quantities.h"

namespace {

constexpr size_t longest_directory_name = 255;

void share_hosts(Outline &outline, Findings &findings) {
    for (size_t i = 0; i < outline.diskgroups.size(); ++i) {
        const PoolOutline &group = outline.diskgroups[i];
        const bool gives_hosts = i < outline.pools.size() && !outline.pools[i].has_hosts && group.has_hosts;
        const std::string name = in_apostrophes(group.name.name);
        findings.error(Rule::diskgroup_dropped, group.name.place,
                       gives_hosts
                           ? fmt::format("disk group {} is dropped but for its hosts", name)
                           : fmt::format("disk group {} is dropped: a disk array keeps its enclosures only", name),
                       "make it an ENCLOSURE, whose disks are its volumes");
        if (!gives_hosts)
            continue;
        PoolOutline &pool = outline.pools[i];
        pool.hosts = group.hosts;
        pool.has_hosts = true;
        findings.warning(
            Rule::hosts_from_diskgroup, pool.name.place,
            fmt::format("pool {} has no HOSTS and takes those of disk group {}: both are number {} of their kind",
                        in_apostrophes(pool.name.name), name, i + 1),
            "give the pool its own HOSTS", {{group.keys.find("HOSTS")->place, "its hosts stand here"}});
    }
}

void check_hosts(const PoolOutline &pool, Findings &findings) {
    const std::string name = in_apostrophes(pool.name.name);
    if (!pool.has_hosts) {
        findings.error(Rule::no_hosts, pool.name.place,
                       fmt::format("pool {} has no HOSTS: it is never listed, and asking for it fails", name));
        return;
    }
    std::unordered_map<std::string, Place> seen;
    for (const ListedName &host : pool.hosts) {
        if (host.name.empty())
            continue;
        const auto [first, is_new] = seen.emplace(host.name, host.place);
        if (!is_new)
            findings.warning(Rule::duplicate_host, host.place,
                             fmt::format("host {} is listed twice", in_apostrophes(host.name)), "",
                             {{first->second, "first listed here"}});
    }
    if (seen.empty())
        findings.error(Rule::no_hosts, pool.name.place,
                       fmt::format("no host may use pool {}: it is never listed", name));
}

void check_pool(const PoolOutline &pool, Findings &findings) {
    const std::string name = in_apostrophes(pool.name.name);
    check_directory_name(pool.name, "pool", findings);
    check_hosts(pool, findings);
    if (pool.disks.empty())
        findings.warning(Rule::no_disks, pool.name.place, fmt::format("pool {} has no disks", name));
    else if (!pool.keys.has("DISK_SIZE"))
        findings.warning(Rule::no_disk_size, pool.name.place,
                         fmt::format("pool {} has no DISK_SIZE: its disks have 0 bytes", name));
    // Others are reported where they stand.
    else if (pool.disk_size > UINT64_MAX / pool.disks.size() && pool.disk_size_is_as_written)
        findings.error(Rule::capacity_overflow, pool.name.place,
                       fmt::format("{} of {} are more than 64 bits hold: the capacity is told as {} bytes",
                                   counted(pool.disks.size(), "disk"), bytes_in_words(pool.disk_size),
                                   pool.disk_size * pool.disks.size()));
    if (!pool.keys.has("STORAGE_DIR"))
        findings.warning(Rule::no_storage_dir, pool.name.place,
                         fmt::format("pool {} has no STORAGE_DIR: /tmp/{} is used", name, pool.name.name));
}

struct KnownDisk {
    const PoolOutline *pool;
    Place place;
};

void check_disk_names(const Outline &outline, Findings &findings) {
    std::unordered_map<std::string, KnownDisk> seen;
    for (const PoolOutline &pool : outline.pools) {
        for (const ListedName &disk : pool.disks) {
            if (disk.name.empty())
                continue;
            const auto [first, is_new] = seen.emplace(disk.name, KnownDisk{&pool, disk.place});
            if (is_new)
                continue;
            const std::string name = in_apostrophes(disk.name);
            findings.error(Rule::duplicate_disk, disk.place,
                           first->second.pool == &pool
                               ? fmt::format("disk {} is in this pool twice", name)
                               : fmt::format("disk {} is in pool {} too, and is always answered for from there", name,
                                             in_apostrophes(first->second.pool->name.name)),
                           "", {{first->second.place, "first listed here"}});
        }
    }
}

void check_pool_names(const Outline &outline, Findings &findings) {
    std::unordered_map<std::string, Place> seen;
    for (const PoolOutline &pool : outline.pools) {
        if (pool.name.name.empty())
            continue;
        const auto [first, is_new] = seen.emplace(pool.name.name, pool.name.place);
        if (!is_new)
            findings.error(Rule::duplicate_pool, pool.name.place,
                           fmt::format("there is a pool {} already: only that one is listed and answered for",
                                       in_apostrophes(pool.name.name)),
                           "", {{first->second, "first defined here"}});
    }
}

void check_identifiers(const Outline &outline, Findings &findings) {
    if (outline.udid_token.empty())
        return;
    for (const PoolOutline &pool : outline.pools) {
        for (const ListedName &disk : pool.disks) {
            const size_t length = std::string("#UDID###").size() + outline.udid_token.size() + disk.name.size();
            if (length > longest_directory_name) {
                findings.error(
                    Rule::udid_too_long, disk.place,
                    fmt::format("with this UDID_TOKEN the identifier of disk {} has {} bytes; as a directory's "
                                "name {} fit",
                                in_apostrophes(disk.name), length, longest_directory_name));
                return;
            }
        }
    }
}

}  // namespace

void check_pools(Outline &outline, Findings &findings) {
    if (outline.pools.empty() && !outline.has_lost_header)
        findings.error(Rule::no_sections, {}, "there is no ENCLOSURE section: the framework sees no pools");
    share_hosts(outline, findings);
    for (const PoolOutline &pool : outline.pools)
        check_pool(pool, findings);
    check_pool_names(outline, findings);
    check_disk_names(outline, findings);
    check_identifiers(outline, findings);
}
