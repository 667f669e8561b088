// Remarks about configuration files, where the host's standard output does not take them.
#include <gtest/gtest.h>

#include <iostream>
#include <stdexcept>
#include <streambuf>

#include "stspi/stspi.h"
#include "tests/support/config_directory.h"
#include "tests/support/servers.h"

namespace {

// Takes nothing, and says so in one of two ways.
class FullBuffer : public std::streambuf {
public:
    explicit FullBuffer(bool throws) : m_throws(throws) {}

private:
    int_type overflow(int_type) override {
        if (m_throws)
            throw std::runtime_error("full");
        return traits_type::eof();
    }
    bool m_throws;
};

// While it lives, std::cout has a full buffer and throws whatever goes wrong.
class ThrowingOutput {
public:
    explicit ThrowingOutput(bool buffer_throws) : m_buffer(buffer_throws), m_previous(std::cout.rdbuf(&m_buffer)) {
        std::cout.exceptions(std::ios::badbit | std::ios::failbit);
    }
    ~ThrowingOutput() {
        std::cout.exceptions(std::ios::goodbit);
        std::cout.rdbuf(m_previous);
    }
    ThrowingOutput(const ThrowingOutput &) = delete;
    ThrowingOutput &operator=(const ThrowingOutput &) = delete;

private:
    FullBuffer m_buffer;
    std::streambuf *m_previous;
};

TEST(HostStream, ThatThrowsDoesNotReachTheCallerOfAnEntryPoint) {
    const ConfigDirectory config;
    config.write("Kelvarpool", "UNKNOWN=1;\nENCLOSURE=p1;\n");
    config.write("copan", "STORAGE_SERVER=arr1;\nno equals sign\n");
    for (const bool buffer_throws : {false, true}) {
        // An invalid line, a line without '=', and a name without ':'.
        for (const char *name : {"Kelvarpool:x", "copan:arr1", "copan"}) {
            const ThrowingOutput output(buffer_throws);
            const OpenedServer server(nullptr, name);
            EXPECT_EQ(server.status(), 0) << name;
        }
    }
}

}  // namespace
