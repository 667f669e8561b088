// OrvSimStorageServer::sync: the model written back as a configuration file.
#include <cerrno>
#include <cstdio>
#include <string>

#include "sim/config_file.h"
#include "sim/name_lists.h"
#include "sim/orv_sim_storage_server.h"

namespace {

std::string line(const char *key, const std::string &value) { return key + (" = " + value) + ";\n"; }

std::string section(const diskgroup_t &group) {
    std::string text = line("DISKGROUP", c_text(group.name));
    if (name_count(group.disks) != 0)
        text += line("\tDISKS", joined_names(group.disks));
    if (group.hosts != nullptr && group.hosts->current_size() != 0)
        text += line("\tHOSTS", joined_names(group.hosts));
    if (name_count(group.volumes) != 0)
        text += line("\tVOLUMES", joined_names(group.volumes));
    if (*storage_dir_text(group) != '\0')
        text += line("\tSTORAGE_DIR", storage_dir_text(group));
    return text + "\n";
}

// Unlike a disk group, an enclosure always gets its two lines, empty ones too, and never its storage directory.
std::string section(const enclosure_t &enclosure) {
    return line("ENCLOSURE", c_text(enclosure.name)) + line("\tDISKS", joined_names(enclosure.disks)) +
           line("\tHOSTS", joined_names(enclosure.hosts)) + "\n";
}

}  // namespace

// Sizes, MOUNT_PATH and UDID_TOKEN are not written: reading the file again gives their defaults.
int OrvSimStorageServer::sync() const {
    if (m_config_name.empty())
        return 0;
    std::string text;
    for (size_t i = 0; i < m_diskgroups.size(); ++i)
        text += section(m_diskgroups[i]);
    for (size_t i = 0; i < m_enclosures.size(); ++i)
        text += section(m_enclosures[i]);
    if (!is_empty_text(m_mount_behavior))
        text += line("\tMOUNT_BEHAVIOR", c_text(m_mount_behavior));

    File file = open_configuration(m_config_name, "w");  // the text is whole before the old one is gone
    if (file == nullptr)
        return errno;
    const bool is_written = std::fwrite(text.data(), 1, text.size(), file.get()) == text.size();
    const int write_error = errno;
    if (std::fclose(file.release()) != 0)
        return is_written ? errno : write_error;
    return is_written ? 0 : write_error;
}
