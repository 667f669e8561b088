#include "stsimage/passing_trouble.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/vfs.h>
#include <time.h>

#include <algorithm>
#include <cerrno>
#include <iterator>

namespace stsimage {

namespace {

// linux/magic.h does not name all of them.
constexpr uint32_t local_kinds[] = {EXT4_SUPER_MAGIC,  XFS_SUPER_MAGIC,      BTRFS_SUPER_MAGIC,     TMPFS_MAGIC,
                                    RAMFS_MAGIC,       F2FS_SUPER_MAGIC,     OVERLAYFS_SUPER_MAGIC, MSDOS_SUPER_MAGIC,
                                    EXFAT_SUPER_MAGIC, REISERFS_SUPER_MAGIC,
                                    0x2fc12fc1,   // ZFS
                                    0x3153464a};  // JFS

constexpr long nanoseconds_per_second = 1'000'000'000;
constexpr long first_wait = 1'000'000;  // nanoseconds; each further one is four times as long

}  // namespace

bool last_failure_passes() {
    const int error = last_system_error();
    // What is not there is told in words of its own where it may not be there. Elsewhere it was seen a moment before: by way of
    // a cache, it seems.
    return error == ESTALE || error == ETIMEDOUT || error == ENOENT;
}

bool is_shared(int file) {
    struct statfs state;
    return fstatfs(file, &state) != 0 || std::find(std::begin(local_kinds), std::end(local_kinds),
                                                   static_cast<uint32_t>(state.f_type)) == std::end(local_kinds);
}

bool is_refusal(int error) {
    return error == EACCES || error == EPERM || error == EROFS || error == ENOSPC || error == EDQUOT || error == ENOMEM;
}

void drop_cached_data(int file) { posix_fadvise(file, 0, 0, POSIX_FADV_DONTNEED); }

void wait_before_next_attempt(int attempt) {
    const long wait_time = first_wait << (2 * attempt);
    const timespec wait{wait_time / nanoseconds_per_second, wait_time % nanoseconds_per_second};
    nanosleep(&wait, nullptr);
}

}  // namespace stsimage
