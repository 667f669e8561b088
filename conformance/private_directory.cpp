#include "private_directory.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>

namespace conformance {

PrivateDirectory::PrivateDirectory() {
    const char *parent = std::getenv("TMPDIR");
    path_ = fmt::format("{}/stspi-conformance-XXXXXX", parent == nullptr || *parent != '/' ? "/tmp" : parent);
    if (mkdtemp(path_.data()) == nullptr)
        throw std::runtime_error(fmt::format("cannot make a directory {}: {}", path_, std::strerror(errno)));
    chmod(path_.c_str(), 0711);
}

PrivateDirectory::~PrivateDirectory() {
    std::error_code error;
    std::filesystem::remove_all(path_, error);
}

}  // namespace conformance
