#include "stsimage/room_ahead.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/vfs.h>

#include <cerrno>

#include "stsimage/image_format.h"

namespace stsimage {

namespace {

bool is_ext4(int file) {
    struct statfs state;
    return fstatfs(file, &state) == 0 && state.f_type == EXT4_SUPER_MAGIC;
}

}  // namespace

// A short image, or one with gaps, is to take no more room than it needs.
void RoomAhead::prepare(int file, uint64_t place, size_t length) {
    if (place + length <= end)
        return;
    // A block that comes in two calls is written behind those that follow it.
    const bool in_order = place >= end && place - end <= block_size;
    if (!in_order)
        run = 0;
    else if (run >= group_size && place >= found_until && length >= block_size)  // shorter is the index: the end
        find(file, place);
    run += length;
    end = place + length;
}

void RoomAhead::find(int file, uint64_t place) {
    if (use == Use::unknown)
        use = is_ext4(file) ? Use::helps : Use::none;
    if (use == Use::none)
        return;
    // The size is left to the write: a file must not seem to have what was never written.
    if (fallocate(file, FALLOC_FL_KEEP_SIZE, static_cast<off_t>(place), static_cast<off_t>(group_size)) == 0)
        found_until = place + group_size;
    else if (errno == EOPNOTSUPP)
        use = Use::none;
}

}  // namespace stsimage
