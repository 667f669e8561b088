// Room on the disk for what is about to be written to one file.
//
// ext4 finds room for data when it goes to the disk, and until then keeps account of every page that has none yet: of what
// writing costs the processor, that is a fifth. Asked for room first, it keeps account of the range.
#pragma once

#include <cstddef>
#include <cstdint>

namespace stsimage {

class RoomAhead {
public:
    // To be called before this range is written. What comes of it is left to the write: without room it will say so itself.
    void find(int file, uint64_t place, size_t length);

private:
    enum class Use { unknown, helps, none };
    Use use = Use::unknown;
};

}  // namespace stsimage
