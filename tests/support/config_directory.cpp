#include "tests/support/config_directory.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "redirect/config_redirect.h"

ConfigDirectory::ConfigDirectory() { set_config_directory(m_directory.path()); }

ConfigDirectory::~ConfigDirectory() { set_config_directory(""); }

std::string ConfigDirectory::path(const std::string &configuration_name) const {
    return m_directory / (configuration_name + ".sim");
}

void ConfigDirectory::write(const std::string &configuration_name, const std::string &text) const {
    std::ofstream file(path(configuration_name), std::ios::binary);
    file << text;
    ASSERT_TRUE(file.flush().good()) << path(configuration_name);
}

std::string ConfigDirectory::read(const std::string &configuration_name) const {
    const std::ifstream file(path(configuration_name), std::ios::binary);
    EXPECT_TRUE(file.good()) << path(configuration_name);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}
