// A disk array made from a configuration text.
#pragma once

#include <gmock/gmock.h>

#include <string>

#include "sim/name_lists.h"
#include "sim/orv_sim_storage_server.h"
#include "tests/support/captured_output.h"
#include "tests/support/config_directory.h"

// Writes the file of the configuration name, then makes the array "NAME:array1".
class DiskArray {
public:
    explicit DiskArray(const std::string &text, const std::string &configuration_name = "lab1") {
        m_directory.write(configuration_name, text);
        const CapturedOutput output;
        m_array = std::make_unique<OrvSimStorageServer>(configuration_name + ":array1");
    }

    OrvSimStorageServer *operator->() { return m_array.get(); }
    OrvSimStorageServer &operator*() { return *m_array; }

    // What sync writes for the model.
    std::string saved(const std::string &configuration_name = "lab1") {
        m_array->sync();
        return m_directory.read(configuration_name);
    }

    const ConfigDirectory &directory() const { return m_directory; }

private:
    ConfigDirectory m_directory;
    std::unique_ptr<OrvSimStorageServer> m_array;
};
