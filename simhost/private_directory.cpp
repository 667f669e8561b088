#include "simhost/private_directory.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "simhost/failure.h"

PrivateDirectory::PrivateDirectory() : m_path((std::filesystem::temp_directory_path() / "simhost-XXXXXX").string()) {
    if (mkdtemp(m_path.data()) == nullptr)
        throw UsageError(fmt::format("cannot make a private directory {}: {}", m_path, std::strerror(errno)));
}

PrivateDirectory::~PrivateDirectory() {
    if (m_removes)
        rmdir(m_path.c_str());
}
