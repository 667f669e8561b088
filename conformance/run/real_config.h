// /etc/quillmere for the time of a run with --real-config.
#pragma once

namespace conformance {

// Makes the directory when it is missing and removes it again. Throws std::runtime_error with the reason when the run
// must not touch it: no root, or configuration files in it.
class RealConfigDirectory {
public:
    RealConfigDirectory();
    ~RealConfigDirectory();
    RealConfigDirectory(const RealConfigDirectory &) = delete;
    RealConfigDirectory &operator=(const RealConfigDirectory &) = delete;

private:
    bool made_ = false;
};

}  // namespace conformance
