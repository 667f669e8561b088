// A journal's file, mapped: made or continued, given room on the disk ahead of its use, and taken piece by piece by any
// number of writers.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "journal/format.h"

namespace journal {

struct FileSettings {
    Mode mode;
    uint64_t capacity;
    bool fresh;         // in place of an existing file, which others may go on writing unnamed
    std::string about;  // items
};

class MappedFile {
public:
    // Null on failure, with the reason and its errno.
    static std::unique_ptr<MappedFile> open(const std::string &path, const FileSettings &settings, std::string &error,
                                            int &error_number);
    ~MappedFile();
    MappedFile(const MappedFile &) = delete;
    MappedFile &operator=(const MappedFile &) = delete;

    // Writes a record of `size` bytes, a RecordHead and what follows it, padded; fills in mark, length and check, and for
    // an entering record its own place as `call`. Returns its place, 0 when there was no room: then it is counted as
    // lost. (Place 0 is taken by the first process record, which nobody refers to.)
    uint64_t append(RecordHead &record, uint64_t size) noexcept;

    uint64_t lost() const noexcept { return header_->lost.load(std::memory_order_relaxed); }
    uint64_t max_record() const noexcept { return max_record_; }

private:
    MappedFile(int descriptor, void *memory, uint64_t size);

    bool reserve(uint64_t size, uint64_t &place) noexcept;
    bool ensure_room(uint64_t end) noexcept;
    bool allocate(uint64_t end) noexcept;
    void pad(uint64_t begin, uint64_t end) noexcept;
    unsigned char *at(uint64_t place) const noexcept { return records_ + place % capacity_; }

    int descriptor_;
    void *memory_;
    uint64_t size_;
    FileHeader *header_;
    unsigned char *records_;
    // Copies: what others write into the header cannot lead astray.
    Mode mode_;
    uint64_t capacity_;
    uint64_t nonce_;
    uint64_t max_record_;
    std::atomic<uint64_t> retry_ns_{0};  // of a full disk, not before
};

}  // namespace journal
