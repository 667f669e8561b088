// Reads a journal, whatever became of its writers, and whatever its bytes are: hostile ones give other records or an
// error, never more memory than a few of the longest records, and time in proportion to the file's size.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "journal/byte_source.h"
#include "journal/format.h"
#include "journal/items.h"
#include "journal/read_error.h"

namespace journal {

struct RecordView {
    uint64_t place;
    RecordHead head;
    std::string_view items;  // valid until the next record is read
};

// What the head of a file says.
struct FileFacts {
    Mode mode = Mode::growing;
    uint64_t capacity = 0;
    uint64_t wall_ns = 0;
    uint64_t monotonic_ns = 0;
    uint64_t lost = 0;  // records that found no room
    std::string about;  // items
};

// What could not be read.
struct Damage {
    uint64_t torn = 0;           // records that were begun and not finished, or were changed
    uint64_t skipped_bytes = 0;  // where there was no record at all
    uint64_t first_place = 0;    // of the first of them
    bool overwritten = false;    // a ring has gone round: what came first is gone
    bool truncated = false;      // the file ends before the journal does

    bool any() const { return torn != 0 || skipped_bytes != 0 || truncated; }
};

class Reader {
public:
    // Throws ReadError; name stands in its text.
    Reader(std::unique_ptr<ByteSource> source, const std::string &name);
    explicit Reader(const std::string &path) : Reader(open_file(path), path) {}

    const FileFacts &facts() const { return facts_; }

    // The records in the order in which their writers took room. False at the end.
    bool next(RecordView &record);

    // Of what has been read so far.
    const Damage &damage() const { return damage_; }

private:
    void set_bounds(const FileHeader &header, const std::string &name);
    // As many bytes at a place as are there, at least `wanted` unless the file or the round ends.
    std::string_view bytes_at(uint64_t place, uint64_t wanted);
    void note_damage(uint64_t place);
    void skip(uint64_t bytes);

    std::unique_ptr<ByteSource> source_;
    FileFacts facts_;
    uint64_t nonce_ = 0;
    uint64_t stored_ = 0;  // bytes of records that the file holds
    uint64_t begin_ = 0;
    uint64_t place_ = 0;
    uint64_t end_ = 0;
    bool synchronised_ = true;  // false at the start of a ring that has gone round, which cuts a record in two
    Damage damage_;
    std::vector<char> window_;
    uint64_t window_offset_ = 0;  // in the record area
    size_t window_size_ = 0;
};

}  // namespace journal
