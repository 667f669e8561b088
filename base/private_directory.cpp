#include "base/private_directory.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>

PrivateDirectory::PrivateDirectory(const std::string &prefix, AtEnd at_end) : m_at_end(at_end) {
    const char *parent = std::getenv("TMPDIR");
    const std::string pattern =
        std::string(parent == nullptr || *parent != '/' ? "/tmp" : parent) + "/" + prefix + "-XXXXXX";
    m_path = pattern;
    if (mkdtemp(m_path.data()) == nullptr)
        throw std::runtime_error("cannot make a private directory " + pattern + ": " + std::strerror(errno));
}

PrivateDirectory::~PrivateDirectory() {
    if (m_kept)
        return;
    std::error_code ignored;
    if (m_at_end == AtEnd::remove_all)
        std::filesystem::remove_all(m_path, ignored);
    else
        std::filesystem::remove(m_path, ignored);
}
