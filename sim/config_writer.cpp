// OrvSimStorageServer::sync: the model written back as a configuration file.
#include <cstdio>

#include "sim/config_file.h"
#include "sim/name_lists.h"
#include "sim/orv_sim_storage_server.h"

namespace {

void write(FILE *file, const diskgroup_t &group) {
    std::fprintf(file, "DISKGROUP = %s;\n", c_text(group.name));
    if (name_count(group.disks) != 0)
        std::fprintf(file, "\tDISKS = %s;\n", joined_names(group.disks).c_str());
    if (group.hosts != nullptr && group.hosts->current_size() != 0)
        std::fprintf(file, "\tHOSTS = %s;\n", joined_names(group.hosts).c_str());
    if (name_count(group.volumes) != 0)
        std::fprintf(file, "\tVOLUMES = %s;\n", joined_names(group.volumes).c_str());
    if (!is_empty_text(group.storage_dir))
        std::fprintf(file, "\tSTORAGE_DIR = %s;\n", c_text(group.storage_dir));
    std::fprintf(file, "\n");
}

// Unlike a disk group, an enclosure always gets its two lines, empty ones too, and never its storage directory.
void write(FILE *file, const enclosure_t &enclosure) {
    std::fprintf(file, "ENCLOSURE = %s;\n", c_text(enclosure.name));
    std::fprintf(file, "\tDISKS = %s;\n", joined_names(enclosure.disks).c_str());
    std::fprintf(file, "\tHOSTS = %s;\n", joined_names(enclosure.hosts).c_str());
    std::fprintf(file, "\n");
}

}  // namespace

// Sizes, MOUNT_PATH and UDID_TOKEN are not written: reading the file again gives their defaults.
void OrvSimStorageServer::sync() {
    const File file = open_configuration(m_config_name, "w");
    if (file == nullptr)
        return;
    for (size_t i = 0; i < m_diskgroups.size(); ++i)
        write(file.get(), m_diskgroups[i]);
    for (size_t i = 0; i < m_enclosures.size(); ++i)
        write(file.get(), m_enclosures[i]);
    if (!is_empty_text(m_mount_behavior))
        std::fprintf(file.get(), "\tMOUNT_BEHAVIOR = %s;\n", c_text(m_mount_behavior));
}
