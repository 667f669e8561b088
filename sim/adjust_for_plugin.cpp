// OrvSimStorageServer::adjustForPlugin: enclosures turned into disk groups.
#include <algorithm>
#include <memory>

#include "sim/array_size.h"
#include "sim/orv_sim_storage_server.h"

namespace {

// Walks the set from its front, so that the copy, which keeps its newest name first, gives the order of the file.
std::unique_ptr<HostSet> copy_of(HostSet &hosts) {
    auto copy = std::make_unique<HostSet>(std::max<size_t>(1, hosts.current_size()));
    for (auto entry = hosts.begin(); entry != hosts.end(); ++entry)
        copy->bind((*entry).ext_id_, (*entry).int_id_);
    return copy;
}

std::unique_ptr<NameList> copy_of(const NameList &names) {
    auto copy = std::make_unique<NameList>();
    resize(*copy, names.size());
    for (size_t i = 0; i < names.size(); ++i)
        (*copy)[i] = names[i];
    return copy;
}

template <class List>
void replace(List *&list, std::unique_ptr<List> by) {
    delete list;
    list = by.release();
}

}  // namespace

void OrvSimStorageServer::adjustForPlugin() {
    if (m_config_name != "Kelvarpool")
        return;
    const size_t count = m_enclosures.size();
    for (size_t i = count; i < m_diskgroups.size(); ++i)
        release_lists(m_diskgroups[i]);
    cut(m_diskgroups, std::min(count, m_diskgroups.size()));
    resize(m_diskgroups, count);
    for (size_t i = 0; i < count; ++i) {
        const enclosure_t &enclosure = m_enclosures[i];
        diskgroup_t &group = m_diskgroups[i];
        group.name = enclosure.name;
        if (enclosure.hosts != nullptr)  // otherwise the set of the DISKGROUP section in this place stays
            replace(group.hosts, copy_of(*enclosure.hosts));
        replace(group.disks, copy_of(*enclosure.disks));
        group.storage_dir = enclosure.storage_dir;
        group.disk_size = enclosure.disk_size;
        group.volume_size = group.disk_size;
        replace(group.volumes, copy_of(*group.disks));
    }
}
