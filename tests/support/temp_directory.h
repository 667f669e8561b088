// A private directory for one test.
#pragma once

#include <string>

// Made empty below the system's directory for temporary files; goes with all it holds.
class TempDirectory {
public:
    TempDirectory();
    ~TempDirectory();
    TempDirectory(const TempDirectory &) = delete;
    TempDirectory &operator=(const TempDirectory &) = delete;

    const std::string &path() const { return m_path; }

    // The path of an entry; nothing is made.
    std::string operator/(const std::string &name) const { return m_path + "/" + name; }

private:
    std::string m_path;
};
