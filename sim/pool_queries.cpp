// The questions that OrvSimStorageServer answers about its pools and their disks.
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "sim/array_size.h"
#include "sim/orv_sim_storage_server.h"

namespace {

bool any_host_in(const NameList &hosts, const HostSet &set) {
    for (size_t i = 0; i < hosts.size(); ++i)
        if (set.find(hosts[i]) == 0)
            return true;
    return false;
}

bool all_hosts_in(const NameList &hosts, const HostSet &set) {
    for (size_t i = 0; i < hosts.size(); ++i)
        if (set.find(hosts[i]) != 0)
            return false;
    return hosts.size() != 0;
}

std::string_view view(const Name &name) { return {c_text(name), name.length()}; }

constexpr std::string_view udid_prefix = "#UDID#";

// A set of names in one piece of memory: listing thousands of pools, a node for each name cost more than the search.
class NamesSeen {
public:
    explicit NamesSeen(size_t most_names) {
        size_t slots = 2;
        while (slots < 2 * most_names)
            slots *= 2;
        m_slots.resize(slots);
    }

    // Whether the name is new. It has to live as long as the set.
    bool insert(std::string_view name) {
        size_t slot = std::hash<std::string_view>()(name) & (m_slots.size() - 1);
        for (; m_slots[slot].data() != nullptr; slot = (slot + 1) & (m_slots.size() - 1))
            if (m_slots[slot] == name)
                return false;
        m_slots[slot] = name;
        return true;
    }

private:
    std::vector<std::string_view> m_slots;  // a free one points nowhere
};

// The disk whose identifier is udid; none when udid is no identifier with that token. Saves building the identifier of
// every disk of the array for one look-up.
bool disk_of_udid(std::string_view udid, std::string_view token, std::string_view &disk) {
    const size_t head = udid_prefix.size() + token.size() + 1;
    if (token.empty() || udid.size() < head + 1 || udid.substr(0, udid_prefix.size()) != udid_prefix ||
        udid.substr(udid_prefix.size(), token.size()) != token || udid[head - 1] != '#' || udid.back() != '#')
        return false;
    disk = udid.substr(head, udid.size() - head - 1);
    return true;
}

}  // namespace

DiskGroupTable *OrvSimStorageServer::getPoolLSUList(const NameList *hosts, bool match_any) const {
    NamesSeen seen(m_diskgroups.size());
    std::vector<const Name *> selected;
    selected.reserve(m_diskgroups.size());
    for (size_t i = 0; i < m_diskgroups.size(); ++i) {
        const diskgroup_t &group = m_diskgroups[i];
        if (group.hosts == nullptr)
            continue;
        const bool usable = match_any ? any_host_in(*hosts, *group.hosts) : all_hosts_in(*hosts, *group.hosts);
        if (usable && seen.insert(view(group.name)))
            selected.push_back(&group.name);
    }
    auto pools = std::make_unique<DiskGroupTable>();
    resize(*pools, selected.size());
    // Last found comes first, on purpose.
    for (size_t i = 0; i < selected.size(); ++i)
        (*pools)[i].name = *selected[selected.size() - 1 - i];
    return pools.release();
}

const diskgroup_t *OrvSimStorageServer::getPoolLSUInfo(const char *name) const {
    if (name == nullptr)
        return nullptr;
    const std::string_view wanted = name;
    for (size_t i = 0; i < m_diskgroups.size(); ++i)
        if (view(m_diskgroups[i].name) == wanted)
            return &m_diskgroups[i];
    return nullptr;
}

DynamicLSUInfo *OrvSimStorageServer::getDynamicLSUInfo(const char *name, const char *) const {
    if (name == nullptr)
        return nullptr;
    const std::string_view wanted = name;
    std::string_view wanted_disk;
    const bool is_udid = disk_of_udid(wanted, c_text(m_udid_token), wanted_disk);
    for (size_t i = 0; i < m_diskgroups.size(); ++i) {
        const diskgroup_t &group = m_diskgroups[i];
        for (size_t j = 0; j < name_count(group.disks); ++j) {
            const Name &disk = (*group.disks)[j];
            if (view(disk) != wanted && !(is_udid && view(disk) == wanted_disk))
                continue;
            auto info = std::make_unique<DynamicLSUInfo>();
            info->name = disk;
            info->id = getUDID(disk);
            info->capacity = group.volume_size;
            info->fs_size = group.volume_size;
            info->free_space = group.volume_size / 2;
            return info.release();
        }
    }
    return nullptr;
}

Name OrvSimStorageServer::getUDID(Name name) const {
    // Deliberately one string for the whole process, without a lock: threads that ask at the same moment may see each
    // other's text. It has room for everything that a file's line and an LSU's name can hold, so that it never moves
    // while it is shared; only a longer name, which no entry point hands in, would make it grow.
    constexpr size_t room = 65536;
    static Name udid(std::string(room, ' ').c_str());
    udid.fast_clear();
    if (is_empty_text(m_udid_token)) {
        udid += name;
    } else {
        udid += udid_prefix.data();
        udid += c_text(m_udid_token);
        udid += "#";
        udid += name;
        udid += "#";
    }
    return Name(udid);
}

Name OrvSimStorageServer::getStorageElement(const char *name) const { return Name(name); }
