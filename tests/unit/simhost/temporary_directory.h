// A directory for one test, with all that the test leaves in it.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

class TemporaryDirectory {
public:
    TemporaryDirectory() : m_path((std::filesystem::temp_directory_path() / "simhost-unit-XXXXXX").string()) {
        if (mkdtemp(m_path.data()) == nullptr)
            throw std::runtime_error("cannot make " + m_path);
    }
    ~TemporaryDirectory() { std::filesystem::remove_all(m_path); }
    TemporaryDirectory(const TemporaryDirectory &) = delete;
    TemporaryDirectory &operator=(const TemporaryDirectory &) = delete;

    const std::string &path() const { return m_path; }

private:
    std::string m_path;
};
