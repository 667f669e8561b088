// A record under construction: its head, and items behind it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "journal/format.h"

namespace journal {

// Short records stay on the stack; longer ones take memory, and are cut where there is none or the limit is reached.
class RecordBuffer {
public:
    // cppcheck-suppress uninitMemberVar  ; room that is written before it is read
    RecordBuffer(RecordKind kind, uint64_t limit) noexcept : limit_(limit) {
        new (bytes_) RecordHead{};
        head().kind = kind;
    }
    ~RecordBuffer() {
        if (bytes_ != short_)
            std::free(bytes_);
    }
    RecordBuffer(const RecordBuffer &) = delete;
    RecordBuffer &operator=(const RecordBuffer &) = delete;

    RecordHead &head() noexcept { return *reinterpret_cast<RecordHead *>(bytes_); }
    uint64_t size() const noexcept { return size_; }

    // Appends an item. What does not fit is left out, and the record says so.
    void add(const Item &item, const void *bytes) noexcept {
        const uint64_t padded = aligned(item.size);
        if (!grow(sizeof item + padded)) {
            head().flags |= RECORD_CUT;
            return;
        }
        std::memcpy(bytes_ + size_, &item, sizeof item);
        size_ += sizeof item;
        if (padded != 0)
            std::memset(bytes_ + size_ + padded - RECORD_ALIGNMENT, 0, RECORD_ALIGNMENT);
        if (bytes != nullptr)
            std::memcpy(bytes_ + size_, bytes, item.size);
        size_ += padded;
    }

    void add_word(ItemType type, size_t argument, size_t field, uint8_t flags, uint64_t value) noexcept {
        add({type, static_cast<uint8_t>(argument), static_cast<uint8_t>(field), flags, sizeof value}, &value);
    }

    void add_text(size_t argument, size_t field, uint8_t flags, std::string_view text) noexcept {
        add({ItemType::text, static_cast<uint8_t>(argument), static_cast<uint8_t>(field), flags,
             static_cast<uint32_t>(text.size())},
            text.data());
    }

    void add_null(size_t argument, size_t field) noexcept {
        add({ItemType::null, static_cast<uint8_t>(argument), static_cast<uint8_t>(field), 0, 0}, "");
    }

    // Items that are there already.
    void add_items(std::string_view items) noexcept {
        if (!grow(items.size())) {
            head().flags |= RECORD_CUT;
            return;
        }
        std::memcpy(bytes_ + size_, items.data(), items.size());
        size_ += items.size();
    }

private:
    bool grow(uint64_t more) noexcept {
        const uint64_t needed = size_ + more;
        if (needed <= room_)
            return true;
        if (needed > limit_)
            return false;
        uint64_t room = room_ * 2;
        while (room < needed)
            room *= 2;
        auto *longer = static_cast<unsigned char *>(std::malloc(room));
        if (longer == nullptr)
            return false;
        std::memcpy(longer, bytes_, size_);
        if (bytes_ != short_)
            std::free(bytes_);
        bytes_ = longer;
        room_ = room;
        return true;
    }

    alignas(8) unsigned char short_[2048];
    unsigned char *bytes_ = short_;
    uint64_t size_ = sizeof(RecordHead);
    uint64_t room_ = sizeof short_;
    uint64_t limit_;
};

}  // namespace journal
