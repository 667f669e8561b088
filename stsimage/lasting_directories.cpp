#include "stsimage/lasting_directories.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace stsimage {

namespace {

// A process that lives for years meets ever more of them; to flush one again is cheaper than to remember all.
constexpr size_t most_known = 1U << 16;

}  // namespace

bool LastingDirectories::has(const FileDescriptor &directory) {
    const std::optional<Identity> identity = identity_of(directory);
    const std::lock_guard<std::mutex> lock(mutex);
    return identity && known.count(*identity) != 0;
}

void LastingDirectories::add(const FileDescriptor &directory) {
    const std::optional<Identity> identity = identity_of(directory);
    const std::lock_guard<std::mutex> lock(mutex);
    if (known.size() >= most_known)
        known.clear();
    if (identity)
        known.insert(*identity);
}

std::optional<LastingDirectories::Identity> LastingDirectories::identity_of(const FileDescriptor &directory) {
    struct statx state {};
    if (statx(directory.get(), "", AT_EMPTY_PATH, STATX_INO | STATX_BTIME, &state) != 0)
        return std::nullopt;
    return Identity(state.stx_dev_major, state.stx_dev_minor, state.stx_ino, state.stx_btime.tv_sec,
                    state.stx_btime.tv_nsec);
}

}  // namespace stsimage
