// Room on the disk for what is likely to be written next to one file.
//
// ext4 finds room for data when it goes to the disk, and until then keeps account of every page that has none yet: of what
// writing costs the processor, that is a fifth. Asked for room first, it keeps account of the range. So a file that grows in
// order is given room by the piece, as large as those that are brought to the disk together: streams that are written side by
// side lie no more scattered for it.
#pragma once

#include <cstddef>
#include <cstdint>

namespace stsimage {

class RoomAhead {
public:
    // To be called before this range is written. What comes of it is left to the write: without room it will say so itself.
    void prepare(int file, uint64_t place, size_t length);

    // Whether there is room behind the end of what was written. Cutting the file at its end gives it back.
    bool is_left() const { return found_until > end; }

private:
    void find(int file, uint64_t place);

    enum class Use { unknown, helps, none };
    Use use = Use::unknown;
    uint64_t end = 0;  // of what was written
    uint64_t run = 0;  // how much before it was written in order, without a gap
    uint64_t found_until = 0;
};

}  // namespace stsimage
