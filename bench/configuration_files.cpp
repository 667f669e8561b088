#include "bench/configuration_files.h"

#include <fstream>

#include "redirect/config_redirect.h"

ConfigurationFiles::ConfigurationFiles() : m_directory("stspi-bench", AtEnd::remove_all) {
    set_config_directory(directory());
}

void ConfigurationFiles::write_disk_array(int sections) const {
    std::ofstream file(directory() + "/Kelvarpool.sim");
    for (int i = 0; i < sections; ++i) {
        const std::string name = "pool" + std::to_string(i);
        file << "ENCLOSURE = " << name << ";\n\tDISKS = " << name << "a," << name << "b," << name << "c," << name
             << "d;\n\tHOSTS = mediaA,mediaB;\n\tDISK_SIZE = 10G;\n\tSTORAGE_DIR = " << directory() << "/" << name
             << ";\n\n";
    }
    file << "UDID_TOKEN = T1;\n";
}

void ConfigurationFiles::write_copan_arrays(int sections) const {
    std::ofstream file(directory() + "/copan.sim");
    for (int i = 0; i < sections; ++i)
        file << "STORAGE_SERVER = arr" << i << ";\nVOLUMES = vol1,vol2,vol3,vol4;\nSTORAGE_DIR = " << directory()
             << "/copan;\n";
}
