// The names of an LSU's images: one record each (name_record.h).
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "stsimage/s3/image_root.h"
#include "stsimage/s3/name_record.h"

namespace stsimage::s3 {

// A record as it was seen, and what the next change of it builds on.
struct SeenRecord {
    NameRecord record;
    std::string etag;     // empty when there is no object
    std::time_t age = 0;  // in seconds
};

enum class Change { done, refused, unknown, failed };

// The object that says that an LSU is there. It holds the whole text, which the key may not.
std::string key_of_lsu(const std::string &lsu);

class NameTable {
public:
    NameTable(std::shared_ptr<ImageRoot> root, std::string lsu);

    ImageRoot &root() const { return *image_root; }
    Bucket &bucket() const { return image_root->bucket(); }

    // The text of the LSU; for messages: the LSU, and an image in it.
    const std::string &lsu() const { return lsu_text; }
    std::string path() const { return bucket().name() + ": " + lsu_text; }
    std::string path_of(std::string_view name) const { return path().append("/").append(name); }

    // Whether the LSU is there.
    Answer ask_whether_there(bool &out_there);

    // Makes it, for good, and those above it in its text, as directories would be.
    Answer make();

    // What there is under a name; nothing is no failure.
    Answer find(std::string_view name, SeenRecord &out_seen);

    // Writes a record that follows the one seen. When that is done it is the one seen, or a later one that has it. The LSU is there.
    Change change(std::string_view name, SeenRecord &seen, const NameRecord &next, Answer &out_answer);

    struct Page {
        std::vector<std::string> names;
        std::vector<std::string> others;  // whose records have no image
        std::vector<std::string> left;    // those of them that have been so for an hour
        std::string continuation;         // empty on the last page
    };
    Answer list(const std::string &continuation, Page &out_page);

    // Takes a record without image and claim away for good, as far as it goes.
    void take_away(std::string_view name);

private:
    std::string key_of(std::string_view name) const;
    Answer demand_conditions(EtagForm &out_form);
    Answer try_conditions(bool &out_heeded, EtagForm &out_form);
    Answer try_condition(const Condition &condition, bool &out_holds);

    std::shared_ptr<ImageRoot> image_root;
    std::string lsu_text;
};

// Nobody builds on a record that somebody else is about to take away, until that one has surely come to nothing.
constexpr std::time_t seconds_of_leaving = 3600;

// Whether it may be built on.
inline bool is_free(const SeenRecord &seen) { return !seen.record.leaving || seen.age > seconds_of_leaving; }

}  // namespace stsimage::s3
