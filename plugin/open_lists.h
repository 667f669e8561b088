// The lists of one server handle.
#pragma once

#include <atomic>
#include <memory>

#include "sim/disk_array_model.h"

struct LsuListHandle;

// Knows the lists that are open, so that those that nobody closes go with their server, and keeps the pool arrays of
// closed ones until the next list is opened. Threads may open and close lists at the same time; no lock is taken.
class OpenLists {
public:
    // Where one list stands. Made when more lists are open than ever before, then used again.
    struct Place;

    OpenLists() = default;
    // Deletes the lists that are still open.
    ~OpenLists();
    OpenLists(const OpenLists &) = delete;
    OpenLists &operator=(const OpenLists &) = delete;

    // Gives a list its place and releases the arrays of the lists closed so far. Throws std::bad_alloc.
    Place *enter(LsuListHandle *list);

    // Takes the array of a list that is closed; the list is its owner's from now on. Neither allocates nor takes longer
    // the more lists are open.
    static void leave(Place *place, std::unique_ptr<const DiskGroupTable> pools) noexcept;

private:
    Place *take_closed();
    Place *take_free();

    std::atomic<Place *> m_made{nullptr};    // every place, until the end
    std::atomic<Place *> m_closed{nullptr};  // with arrays to release
    std::atomic<Place *> m_free{nullptr};
};
