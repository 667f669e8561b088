#include "conformance/run/real_config.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <stdexcept>

namespace conformance {

namespace fs = std::filesystem;

namespace {

constexpr char system_directory[] = "/etc/quillmere";

}  // namespace

RealConfigDirectory::RealConfigDirectory() {
    if (geteuid() != 0)
        throw std::runtime_error(fmt::format("--real-config needs root to write to {}", system_directory));
    if (mkdir(system_directory, 0755) == 0) {
        made_ = true;
        return;
    }
    if (errno != EEXIST)
        throw std::runtime_error(fmt::format("cannot make {}: {}", system_directory, std::strerror(errno)));
    for (const auto &entry : fs::directory_iterator(system_directory)) {
        const std::string name = entry.path().filename().string();
        if (name.size() >= 4 && name.compare(name.size() - 4, 4, ".sim") == 0)
            throw std::runtime_error(fmt::format(
                "{} exists: --real-config overwrites no configuration, move it away first", entry.path().string()));
    }
}

RealConfigDirectory::~RealConfigDirectory() {
    if (made_)
        rmdir(system_directory);
}

}  // namespace conformance
