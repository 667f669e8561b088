// Parts of images that belong to no name any more, or may come to: drafts, and images that were replaced or deleted.
//
// Each is noted under its id with the name that it belongs to, a draft once it has claimed its name, any other before it loses it.
// So what is noted and not referred to by its name's record never will be again. Such parts are cleared by any process of any
// host, when nobody who may still read them is left. A note as a draft is one of its own: its writer takes that back when others may
// already be deleting what was published.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "stsimage/s3/name_table.h"

namespace stsimage::s3 {

enum class LooseKind { draft, image };

// Until when something is begun.
using Deadline = std::chrono::steady_clock::time_point;
constexpr Deadline no_deadline = Deadline::max();

struct LooseParts {
    std::string id;
    std::string lsu;  // empty when there is no note
    std::string name;
    LooseKind kind = LooseKind::image;  // as which it is noted
    std::time_t age = 0;                // of the note
    SeenRecord seen;                    // of the name
    bool has_name = false;              // after all
    bool has_claim = false;
};

Answer note_loose(const NameTable &table, std::string_view name, const std::string &id, LooseKind kind);
void forget_loose(Bucket &bucket, const std::string &id, LooseKind kind);

// Removes all parts of an image, and its notes. What is left at the deadline, the notes among it, can be removed another time.
Answer remove_parts(Bucket &bucket, const std::string &id, Deadline deadline = no_deadline);

// What has been loose for so long is cleared if nobody has told that it is read.
std::time_t seconds_until_loose(ImageRoot &root);

// Calls the listener with every note: id, kind and age are told.
Answer for_each_note(const std::shared_ptr<ImageRoot> &root, const std::function<void(LooseParts)> &listener);

// Reads a note, and the record of its name. False when that cannot be done, or another note tells more of the same parts.
bool look_at_note(const std::shared_ptr<ImageRoot> &root, LooseParts &parts);

// Whether a writer or reader may still need it, or it cannot be seen that nobody does.
bool is_in_use(const std::shared_ptr<ImageRoot> &root, const LooseParts &parts);

// Removes what is not in use. Refused when the name is somebody else's by now.
Change clear(const std::shared_ptr<ImageRoot> &root, const LooseParts &parts, Deadline deadline = no_deadline);

// Clears, in all LSUs, what may be, until the deadline.
void clear_loose_parts(const std::shared_ptr<ImageRoot> &root, Deadline deadline);

}  // namespace stsimage::s3
