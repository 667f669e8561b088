// What the tests of LSUs share: a disk array and a Copan array over a private directory.
#pragma once

#include <gmock/gmock.h>

#include <cstring>
#include <string>

#include "stspi/stspi.h"
#include "tests/support/config_directory.h"
#include "tests/support/log_recorder.h"
#include "tests/support/servers.h"

class LsuTest : public testing::Test {
protected:
    // The disk array's file; servers opened from now on read it.
    void configure_array(const std::string &text) const { m_config.write("Kelvarpool", text); }
    void configure_copan(const std::string &text) const { m_config.write("copan", text); }

    // An enclosure, which becomes a pool of that name for host h1.
    static std::string pool(const std::string &name, const std::string &disks, const std::string &more = "") {
        return "ENCLOSURE=" + name + ";\nHOSTS=h1;\nDISKS=" + disks + ";\n" + more;
    }

    // Empties the log after what a test does to get ready.
    void ready() { m_log.clear(); }

    ConfigDirectory m_config;
    TempDirectory m_directory;
    LogRecorder m_log;
};

// Every byte set to the same odd value, to see which ones a call writes.
template <class Record>
Record marked() {
    Record record;
    std::memset(&record, 0x5a, sizeof record);
    return record;
}
