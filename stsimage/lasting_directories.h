// The directories below the root whose names this process has flushed: once is enough.
#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <set>
#include <tuple>

#include "stsimage/file_descriptor.h"

namespace stsimage {

class LastingDirectories {
public:
    bool has(const FileDescriptor &directory);
    void add(const FileDescriptor &directory);

private:
    // Device, inode and time of birth: a directory that is made anew may get the inode of the old one.
    using Identity = std::tuple<uint32_t, uint32_t, uint64_t, int64_t, uint32_t>;

    static std::optional<Identity> identity_of(const FileDescriptor &directory);

    std::mutex mutex;
    std::set<Identity> known;
};

}  // namespace stsimage
