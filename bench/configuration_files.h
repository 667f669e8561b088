// Configuration files to measure with.
#pragma once

#include <string>

#include "base/private_directory.h"

// A private directory with the files that the benchmarks open; removed with everything in it at the end. Becomes the
// directory that configuration is read from.
class ConfigurationFiles {
public:
    ConfigurationFiles();
    ConfigurationFiles(const ConfigurationFiles &) = delete;
    ConfigurationFiles &operator=(const ConfigurationFiles &) = delete;

    // The directory; storage and mount points of the configured pools lie below it too.
    const std::string &directory() const { return m_directory.path(); }

    // Writes Kelvarpool.sim with that many enclosures, "pool0" and up, each with four disks and two hosts, one of them
    // "mediaA".
    void write_disk_array(int sections) const;

    // Writes copan.sim with that many servers, "arr0" and up, each with four volumes.
    void write_copan_arrays(int sections) const;

private:
    PrivateDirectory m_directory;
};
