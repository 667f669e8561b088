// The place where a volume is mounted: a link that the plug-in makes.
#pragma once

#include <string>

// The path made absolute, without a '/' at the end. Throws UsageError when it is empty or "/".
std::string absolute_mount_point(const std::string &path);

// Where the link at a path leads; empty when there is no link.
std::string link_target_of(const std::string &path);

class MountPoint {
public:
    // Throws UsageError when something stands at the path already: the plug-in would put its link in place of it.
    explicit MountPoint(const std::string &path);
    // Removes the link, unless it is to be kept. Nothing that is not a link is removed.
    ~MountPoint();
    MountPoint(const MountPoint &) = delete;
    MountPoint &operator=(const MountPoint &) = delete;

    // Absolute, without a '/' at the end.
    const std::string &path() const { return m_path; }
    // Where the link leads; empty when there is no link.
    std::string target() const;

    void keep() { m_removes = false; }

private:
    std::string m_path;
    bool m_removes = true;
};
