#include "stsimage/room_ahead.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/vfs.h>

#include <cerrno>

namespace stsimage {

namespace {

// Asking for less costs more than it saves.
constexpr size_t least_length = size_t{128} * 1024;

bool is_ext4(int file) {
    struct statfs state;
    return fstatfs(file, &state) == 0 && state.f_type == EXT4_SUPER_MAGIC;
}

}  // namespace

void RoomAhead::find(int file, uint64_t place, size_t length) {
    if (length < least_length || use == Use::none)
        return;
    if (use == Use::unknown)
        use = is_ext4(file) ? Use::helps : Use::none;
    // The size is left to the write: a file must not seem to have what was never written.
    if (use == Use::helps &&
        fallocate(file, FALLOC_FL_KEEP_SIZE, static_cast<off_t>(place), static_cast<off_t>(length)) != 0 &&
        errno == EOPNOTSUPP)
        use = Use::none;
}

}  // namespace stsimage
