#include "plugin/open_lists.h"

#include "plugin/lsu_list_handle.h"

struct OpenLists::Place {
    explicit Place(OpenLists &owner) : lists(owner) {}

    OpenLists &lists;
    LsuListHandle *list = nullptr;                // while it is open
    std::unique_ptr<const DiskGroupTable> pools;  // of the list that was here last
    Place *next_made = nullptr;
    Place *next = nullptr;  // in the stack of closed or of free places
};

OpenLists::~OpenLists() {
    Place *place = m_made.load();
    while (place != nullptr) {
        const std::unique_ptr<Place> done(place);
        place = place->next_made;
        delete done->list;
    }
}

OpenLists::Place *OpenLists::enter(LsuListHandle *list) {
    Place *place = take_closed();
    if (place == nullptr)
        place = take_free();
    if (place == nullptr) {
        place = new Place(*this);
        place->next_made = m_made.load();
        while (!m_made.compare_exchange_weak(place->next_made, place)) {
        }
    }
    place->list = list;
    return place;
}

void OpenLists::leave(Place *place, std::unique_ptr<const DiskGroupTable> pools) noexcept {
    place->list = nullptr;
    place->pools = std::move(pools);
    std::atomic<Place *> &closed = place->lists.m_closed;
    place->next = closed.load();
    while (!closed.compare_exchange_weak(place->next, place)) {
    }
}

// All closed places are taken, never the first alone: it could be taken and closed again in between, with another one
// behind it.
OpenLists::Place *OpenLists::take_closed() {
    Place *taken = m_closed.exchange(nullptr);
    if (taken == nullptr)
        return nullptr;
    Place *last = taken;
    for (last->pools.reset(); last->next != nullptr; last->pools.reset())
        last = last->next;
    if (taken != last) {
        Place *rest = taken->next;
        last->next = m_free.load();
        while (!m_free.compare_exchange_weak(last->next, rest)) {
        }
    }
    return taken;
}

// All free places are taken for the same reason, and all but one are given back.
OpenLists::Place *OpenLists::take_free() {
    Place *taken = m_free.exchange(nullptr);
    if (taken == nullptr)
        return nullptr;
    Place *rest = taken->next;
    while (rest != nullptr) {
        Place *none = nullptr;
        if (m_free.compare_exchange_strong(none, rest))
            break;
        // More places became free meanwhile: they go before the rest.
        Place *freed = m_free.exchange(nullptr);
        if (freed == nullptr)
            continue;
        Place *last = freed;
        while (last->next != nullptr)
            last = last->next;
        last->next = rest;
        rest = freed;
    }
    return taken;
}
