// What lies in a store and belongs to no image: what is being written, what somebody still reads, and what is left of those
// that died.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace stsimage {

enum class LeftoverKind {
    draft,    // written for a name that it has not got
    deleted,  // of an image that has been replaced or deleted
    orphan    // in nobody's notes: it cannot be said of which LSU and image it was
};

struct Leftover {
    LeftoverKind kind;
    std::string lsu;   // "" when that is not known
    std::string name;  // of the image; "" likewise
    std::string path;  // where it lies, for messages
    uint64_t stored_bytes = 0;
    bool in_use = true;  // a writer or a reader of whatever host needs it, or it cannot be seen that nobody does
    bool removed = false;
};

enum class Disposal { keep, remove };

// Gets each that was found. Returns false when no more are wanted.
using LeftoverListener = std::function<bool(const Leftover &)>;

}  // namespace stsimage
