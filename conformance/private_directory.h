// A fresh directory below $TMPDIR or /tmp, removed with everything in it.
#pragma once

#include <string>

namespace conformance {

class PrivateDirectory {
public:
    // Throws std::runtime_error.
    PrivateDirectory();
    ~PrivateDirectory();
    PrivateDirectory(const PrivateDirectory &) = delete;
    PrivateDirectory &operator=(const PrivateDirectory &) = delete;

    const std::string &path() const { return path_; }

private:
    std::string path_;
};

}  // namespace conformance
