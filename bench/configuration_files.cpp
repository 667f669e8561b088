#include "bench/configuration_files.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "redirect/config_redirect.h"

namespace fs = std::filesystem;

ConfigurationFiles::ConfigurationFiles() {
    std::string pattern = (fs::temp_directory_path() / "stspi-bench-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr)
        throw fs::filesystem_error("cannot make a directory", pattern, std::error_code(errno, std::generic_category()));
    m_directory = pattern;
    set_config_directory(m_directory);
}

ConfigurationFiles::~ConfigurationFiles() {
    std::error_code ignored;
    fs::remove_all(m_directory, ignored);
}

void ConfigurationFiles::write_disk_array(int sections) const {
    std::ofstream file(m_directory + "/Kelvarpool.sim");
    for (int i = 0; i < sections; ++i) {
        const std::string name = "pool" + std::to_string(i);
        file << "ENCLOSURE = " << name << ";\n\tDISKS = " << name << "a," << name << "b," << name << "c," << name
             << "d;\n\tHOSTS = mediaA,mediaB;\n\tDISK_SIZE = 10G;\n\tSTORAGE_DIR = " << m_directory << "/" << name
             << ";\n\n";
    }
    file << "UDID_TOKEN = T1;\n";
}

void ConfigurationFiles::write_copan_arrays(int sections) const {
    std::ofstream file(m_directory + "/copan.sim");
    for (int i = 0; i < sections; ++i)
        file << "STORAGE_SERVER = arr" << i << ";\nVOLUMES = vol1,vol2,vol3,vol4;\nSTORAGE_DIR = " << m_directory
             << "/copan;\n";
}
