#include "sim/disk_array_model.h"

namespace {

template <class List>
void release(List *&list) {
    delete list;
    list = nullptr;
}

}  // namespace

void release_lists(diskgroup_t &group) {
    release(group.hosts);
    release(group.disks);
    release(group.volumes);
}

void release_lists(enclosure_t &enclosure) {
    release(enclosure.hosts);
    release(enclosure.disks);
}

size_t name_count(const NameList *names) { return names != nullptr ? names->size() : 0; }
