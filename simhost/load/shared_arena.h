// Memory that the processes of a run have in common: made before they fork, seen by all of them at the same address, and
// still there when one of them was killed.
#pragma once

#include <cstddef>
#include <new>
#include <utility>

class SharedArena {
public:
    // Address space of that size; memory is taken where it is first touched. Throws std::bad_alloc.
    explicit SharedArena(size_t capacity);
    ~SharedArena();
    SharedArena(const SharedArena &) = delete;
    SharedArena &operator=(const SharedArena &) = delete;

    // Zeroed memory, never given back before the arena goes. Throws std::bad_alloc. Only before the first fork.
    void *take(size_t size);

    // Objects whose destructors need not run.
    template <class Object>
    Object *make(size_t count = 1) {
        auto *objects = static_cast<Object *>(take(count * sizeof(Object)));
        for (size_t i = 0; i < count; ++i)
            new (objects + i) Object();
        return objects;
    }

private:
    char *m_start;
    size_t m_capacity;
    size_t m_used = 0;
};

// For containers of the standard library.
template <class Value>
struct SharedAllocator {
    using value_type = Value;

    explicit SharedAllocator(SharedArena &shared) : arena(&shared) {}
    template <class Other>
    SharedAllocator(const SharedAllocator<Other> &other)  // NOLINT(google-explicit-constructor): as allocators are
        : arena(other.arena) {}

    Value *allocate(size_t count) { return static_cast<Value *>(arena->take(count * sizeof(Value))); }
    void deallocate(Value * /*values*/, size_t /*count*/) {}

    friend bool operator==(const SharedAllocator &a, const SharedAllocator &b) { return a.arena == b.arena; }
    friend bool operator!=(const SharedAllocator &a, const SharedAllocator &b) { return !(a == b); }

    SharedArena *arena;
};
