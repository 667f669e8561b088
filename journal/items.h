// Walks the items of a record or of a journal's head. Whatever the bytes are, nothing beyond them is read.
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

#include "journal/format.h"

namespace journal {

struct ItemView {
    Item head;
    std::string_view bytes;  // as many as head.size

    bool whole_argument() const { return head.field == NO_FIELD; }
    bool has(uint8_t flag) const { return (head.flags & flag) != 0; }

    // 0 when there are not eight bytes.
    uint64_t word() const {
        uint64_t value = 0;
        if (bytes.size() == sizeof value)
            std::memcpy(&value, bytes.data(), sizeof value);
        return value;
    }

    DataItem data() const {
        DataItem data = {};
        if (bytes.size() == sizeof data)
            std::memcpy(&data, bytes.data(), sizeof data);
        return data;
    }
};

class ItemCursor {
public:
    explicit ItemCursor(std::string_view bytes) : left_(bytes) {}

    // False at the end, and where what is left is no item.
    bool next(ItemView &item) {
        if (left_.size() < sizeof item.head)
            return false;
        std::memcpy(&item.head, left_.data(), sizeof item.head);
        left_.remove_prefix(sizeof item.head);
        if (aligned(item.head.size) > left_.size()) {
            left_ = {};
            return false;
        }
        item.bytes = left_.substr(0, item.head.size);
        left_.remove_prefix(aligned(item.head.size));
        return true;
    }

private:
    std::string_view left_;
};

}  // namespace journal
