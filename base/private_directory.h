// A fresh directory of one's own.
#pragma once

#include <string>

// What becomes of a private directory that is no longer needed.
enum class AtEnd {
    remove_all,      // it goes with all it holds
    remove_if_empty  // it stays when something was left in it
};

class PrivateDirectory {
public:
    // Made below $TMPDIR, or below /tmp when that is no absolute path, under a name that begins with prefix; nobody else
    // may enter. Throws std::runtime_error, which tells path and reason, when it cannot be made.
    PrivateDirectory(const std::string &prefix, AtEnd at_end);
    // Removes the directory as was said, unless it is to be kept.
    ~PrivateDirectory();
    PrivateDirectory(const PrivateDirectory &) = delete;
    PrivateDirectory &operator=(const PrivateDirectory &) = delete;

    const std::string &path() const { return m_path; }
    // The path of an entry; nothing is made.
    std::string operator/(const std::string &name) const { return m_path + "/" + name; }
    void keep() { m_kept = true; }

private:
    std::string m_path;
    AtEnd m_at_end;
    bool m_kept = false;
};
