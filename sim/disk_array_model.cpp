#include "sim/disk_array_model.h"

#include <memory>

namespace {

template <class Owned>
void release(Owned *&owned) {
    delete owned;
    owned = nullptr;
}

}  // namespace

void release_lists(diskgroup_t &group) {
    release(group.hosts);
    release(group.disks);
    release(group.volumes);
    release(group.default_storage_dir);
}

void release_lists(enclosure_t &enclosure) {
    release(enclosure.hosts);
    release(enclosure.disks);
}

// Records are copied as a whole, which a std::atomic would forbid.
const char *storage_dir_text(const diskgroup_t &group) {
    const std::string *default_dir = __atomic_load_n(&group.default_storage_dir, __ATOMIC_ACQUIRE);
    return default_dir != nullptr ? default_dir->c_str() : c_text(group.storage_dir);
}

void set_default_storage_dir(diskgroup_t &group, const std::string &path) {
    auto text = std::make_unique<const std::string>(path);
    const std::string *unset = nullptr;
    if (__atomic_compare_exchange_n(&group.default_storage_dir, &unset, text.get(), false, __ATOMIC_ACQ_REL,
                                    __ATOMIC_ACQUIRE))
        static_cast<void>(text.release());
}

size_t name_count(const NameList *names) { return names != nullptr ? names->size() : 0; }
