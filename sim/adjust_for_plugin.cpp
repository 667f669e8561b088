// OrvSimStorageServer::adjustForPlugin: enclosures turned into disk groups.
#include <algorithm>
#include <memory>

#include "sim/orv_sim_storage_server.h"

namespace {

// Walks the set from its front, so that the copy, which keeps its newest name first, gives the order of the file.
HostSet *copy_hosts(HostSet &hosts) {
    auto *copy = new HostSet(std::max<size_t>(1, hosts.current_size()));  // ACE aborts on a set without slots
    for (auto entry = hosts.begin(); entry != hosts.end(); ++entry)
        copy->bind((*entry).ext_id_, (*entry).int_id_);
    return copy;
}

void replace(NameList *&names, const NameList &by) {
    auto copy = std::make_unique<NameList>();
    copy_exactly(by, by.size(), *copy);
    delete names;
    names = copy.release();
}

}  // namespace

void OrvSimStorageServer::adjustForPlugin() {
    if (m_config_name != "Kelvarpool")
        return;
    const size_t count = m_enclosures.size();
    for (size_t i = count; i < m_diskgroups.size(); ++i)
        release_lists(m_diskgroups[i]);
    copy_exactly(m_diskgroups, std::min(count, m_diskgroups.size()), m_diskgroups);
    resize(m_diskgroups, count);
    for (size_t i = 0; i < count; ++i) {
        const enclosure_t &enclosure = m_enclosures[i];
        diskgroup_t &group = m_diskgroups[i];
        group.name = enclosure.name;
        if (enclosure.hosts != nullptr) {  // otherwise the set of the DISKGROUP section in this place stays
            HostSet *hosts = copy_hosts(*enclosure.hosts);
            delete group.hosts;
            group.hosts = hosts;
        }
        replace(group.disks, *enclosure.disks);
        group.storage_dir = enclosure.storage_dir;
        group.disk_size = enclosure.disk_size;
        group.volume_size = group.disk_size;
        replace(group.volumes, *group.disks);
    }
}
