// A fresh directory that nobody else may enter.
#pragma once

#include <string>

class PrivateDirectory {
public:
    // Below $TMPDIR, or /tmp. Throws UsageError when it cannot be made.
    PrivateDirectory();
    // Removes the directory, which must be empty by then, unless it is to be kept.
    ~PrivateDirectory();
    PrivateDirectory(const PrivateDirectory &) = delete;
    PrivateDirectory &operator=(const PrivateDirectory &) = delete;

    const std::string &path() const { return m_path; }
    void keep() { m_removes = false; }

private:
    std::string m_path;
    bool m_removes = true;
};
