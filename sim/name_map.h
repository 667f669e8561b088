// Maps whose keys are names.
#pragma once

#include <ace/Map_Manager.h>
#include <ace/RW_Thread_Mutex.h>

#include <memory>
#include <utility>

#include "sim/name.h"

// An ACE map under a reader/writer lock. What was bound last comes first in iteration. Unlike ACE's own it throws
// std::bad_alloc, with the map as it was, when there is no memory.
template <class Value>
class NameMap : public ACE_Map_Manager<Name, Value, ACE_RW_Thread_Mutex> {
    using Base = ACE_Map_Manager<Name, Value, ACE_RW_Thread_Mutex>;

public:
    // slots: at least 1, since ACE aborts on a map without any.
    explicit NameMap(size_t slots) : Base(slots, throwing_allocator()) {}

    // Free slots hold empty texts, which own nothing: only what is bound needs to be destroyed, of hundreds of slots.
    ~NameMap() {
        for (ACE_UINT32 slot = this->occupied_list_.next(); slot != this->occupied_list_id();) {
            auto &entry = this->search_structure_[slot];
            slot = entry.next();
            std::destroy_at(&entry);
        }
        this->allocator_->free(this->search_structure_);
        this->search_structure_ = nullptr;
    }
    NameMap(const NameMap &) = delete;
    NameMap &operator=(const NameMap &) = delete;

    // Returns 0, 1 when the key is present (its value stays), or -1 when the lock cannot be taken.
    int bind(Name key, Value value) {
        ACE_WRITE_GUARD_RETURN(ACE_RW_Thread_Mutex, guard, this->lock_, -1);
        ACE_UINT32 slot = 0;
        if (this->find_and_return_index(key, slot) == 0)
            return 1;
        if (this->free_list_.next() == this->free_list_id())
            grow();
        put(std::move(key), std::move(value));
        return 0;
    }

private:
    // Binds a key that is not there, in a slot that is free.
    void put(Name key, Value value) {
        const ACE_UINT32 slot = this->free_list_.next();
        this->search_structure_[slot].ext_id_ = std::move(key);
        this->search_structure_[slot].int_id_ = std::move(value);
        this->move_from_free_list_to_occupied_list(slot);
        ++this->cur_size_;
    }

    // ACE's growth loses the new slots when memory runs out while it copies the old ones.
    void grow() {
        NameMap larger(this->new_size());
        for (ACE_UINT32 slot = this->occupied_list_.prev(); slot != this->occupied_list_id();
             slot = this->search_structure_[slot].prev())
            larger.put(this->search_structure_[slot].ext_id_, this->search_structure_[slot].int_id_);
        std::swap(this->search_structure_, larger.search_structure_);
        std::swap(this->total_size_, larger.total_size_);
        std::swap(this->cur_size_, larger.cur_size_);
        std::swap(this->free_list_, larger.free_list_);
        std::swap(this->occupied_list_, larger.occupied_list_);
    }
};
