// What an LSU has under one name: an object of its own, changed by conditional writes only.
//
// A change is one write that the service does only if the object is still what the change builds on. So no clock and no lock
// decides who may publish: a process that seemed dead and is not finds its claim gone. Every change has a number one higher than
// the one before, so that no two states of a name are ever the same, and a write that arrives late meets a state that it does not
// build on. For the same reason the object stays for a while when the image is deleted. Every change also leaves a mark of its own,
// by which its writer sees that it was done if the service has not told.
//
// The text of a record with an image is at least 512 bytes long, that of any other shorter, so that lists, which tell the
// sizes of objects, tell which names have images.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace stsimage::s3 {

constexpr uint64_t least_size_with_image = 512;
constexpr size_t most_marks = 6;

// An image's bytes lie in a log (image_log.h).
struct ImageEntry {
    std::string id;
    uint64_t size = 0;        // as stored: beyond the image's own, see the format
    uint64_t log_length = 0;  // of which the end is the map
    uint64_t map_place = 0;
    std::string map_hash;
};

// Of a draft.
struct Claim {
    std::string id;
    std::string process;
    uint32_t lease_seconds = 0;
};

struct NameRecord {
    uint64_t change = 0;
    std::optional<ImageEntry> image;
    std::optional<Claim> claim;

    // About to be taken away for good by whoever wrote this.
    bool leaving = false;

    // Random, of the last changes, this one's first.
    std::vector<std::string> marks;

    // The next record, with the same in it.
    NameRecord following() const;

    void add_mark(const std::string &mark);
    bool has_mark(const std::string &mark) const;

    // Whether it has the mark of the change with this number, whoever made it.
    bool remembers(uint64_t number) const { return number <= change && change - number < marks.size(); }

    bool refers_to(const std::string &id) const { return (image && image->id == id) || (claim && claim->id == id); }
};

std::string text_of(const NameRecord &record);

// False for anything that is not the text of a record.
bool read_record(const std::string &text, NameRecord &out_record);

}  // namespace stsimage::s3
