// The ledger of promises: for each image what was acknowledged, and what is under way. It lies in memory that outlives the
// processes that make the promises. Each image has one owner, the stream that writes and deletes it; everybody may read.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "simhost/load/content.h"
#include "simhost/load/shared_arena.h"

enum class ImageState : uint8_t {
    never_written,
    deleted,   // acknowledged: must not be there
    failed,    // the writing failed before its close: must not be there
    present,   // acknowledged: must be there
    writing,   // what was there before must be; nothing of the new content may be seen
    closing,   // either
    deleting,  // either what was there before, or nothing
    spoilt,  // a fault rule made its writing fail, of which the plug-in knows nothing: anything may be there until it is deleted
};

// What is known of an image at one time.
struct ImageRecord {
    uint64_t word = 0;  // differs whenever something has changed
    ImageState state = ImageState::never_written;
    bool had_content = false;  // while it is under way: there is an older content
    Content content;           // the one that is there; while there is none, the latest
    Content coming;            // writing, closing

    // Whether the image must be there, or must not.
    bool must_be_there() const;
    bool must_not_be_there() const;
    bool may_hold(const Content &other) const;
    bool is_under_way() const;
};

class Ledger {
public:
    // All images never written.
    Ledger(SharedArena &arena, uint64_t seed, uint64_t images);

    uint64_t images() const { return m_images; }
    std::string name(uint64_t image) const;
    // The image of that name; images() for a name that is none of this run.
    uint64_t image_of(const std::string &name) const;

    ImageRecord read(uint64_t image) const;

    // For the owner alone.
    void begin_writing(uint64_t image, const Content &content);
    void begin_closing(uint64_t image);
    void begin_deleting(uint64_t image);
    void begin_spoilt(uint64_t image);
    void acknowledge_content(uint64_t image);
    void acknowledge_deletion(uint64_t image);
    // The writing failed before the close, or the deletion did nothing: what was before is what is.
    void keep_as_it_was(uint64_t image);
    // Nothing was found of an image that was under way.
    void found_nothing(uint64_t image) { acknowledge_deletion(image); }

private:
    struct Cell {
        std::atomic<uint64_t> image{0};
        std::atomic<uint64_t> generation{0};
        std::atomic<uint64_t> size{0};
    };
    // Everything changes with one store to the word, so that a process may be killed between any two instructions.
    struct Entry {
        std::atomic<uint64_t> word{0};
        Cell cells[2];
    };
    void change(uint64_t image, ImageState state, bool had_content, bool other_cell);

    uint64_t m_seed;
    uint64_t m_images;
    Entry *m_entries;
};
