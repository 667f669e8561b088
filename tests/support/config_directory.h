// Configuration files of a test, in place of those in /etc/quillmere.
#pragma once

#include <string>

#include "tests/support/temp_directory.h"

// While it lives, configuration files are looked up in a private directory, which is empty at first.
class ConfigDirectory {
public:
    ConfigDirectory();
    ~ConfigDirectory();

    // Where the file of a configuration name lies: "NAME.sim".
    std::string path(const std::string &configuration_name) const;

    void write(const std::string &configuration_name, const std::string &text) const;

    // The file's bytes; fails the test when there is no file.
    std::string read(const std::string &configuration_name) const;

private:
    TempDirectory m_directory;
};
