#include "simhost/host/mount_point.h"

#include <fmt/format.h>
#include <unistd.h>

#include <filesystem>
#include <system_error>

#include "base/escaped_text.h"
#include "simhost/report/failure.h"

namespace fs = std::filesystem;

std::string absolute_mount_point(const std::string &path) {
    if (path.empty())
        throw UsageError("the mount point has no name");
    std::string result = fs::absolute(path).string();
    while (result.size() > 1 && result.back() == '/')
        result.pop_back();
    if (result == "/")
        throw UsageError("/ cannot be a mount point: a mount makes a link, and puts it in place of what is there");
    return result;
}

std::string link_target_of(const std::string &path) {
    std::error_code failure;
    const fs::path target = fs::read_symlink(path, failure);
    return failure ? std::string() : target.string();
}

MountPoint::MountPoint(const std::string &path) : m_path(absolute_mount_point(path)) {
    std::error_code failure;
    if (fs::symlink_status(m_path, failure).type() != fs::file_type::not_found)
        throw UsageError(fmt::format("{} is there already; a mount would replace it", printable(m_path)));
}

MountPoint::~MountPoint() {
    if (m_removes && !target().empty())
        unlink(m_path.c_str());
}

std::string MountPoint::target() const { return link_target_of(m_path); }
