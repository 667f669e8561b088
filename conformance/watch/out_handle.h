// An out-argument for a handle, in the place of the caller's: it ends at an unmapped page and holds a value that is no
// handle, so that a plug-in that stores a null, or part of a handle, is told from one that stores nothing.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "conformance/watch/guarded_memory.h"

namespace conformance {

template <typename Handle>
class OutHandle {
public:
    // caller: where the handle goes in the end; null for a null argument.
    explicit OutHandle(Handle *caller) : caller_(caller) {
        if (caller_ == nullptr)
            return;
        static std::atomic<uint64_t> next{0};
        // Two complementary patterns in turn.
        sentinel_ = next++ % 2 == 0 ? 0xa5a5a5a5a5a5a5a5 : 0x5a5a5a5a5a5a5a5a;
        store(*caller_ == nullptr ? sentinel_ : reinterpret_cast<uint64_t>(*caller_));
    }

    Handle *pointer() { return caller_ == nullptr ? nullptr : static_cast<Handle *>(cell().data()); }

    // After the call: what was stored goes to the caller.
    void hand_over() {
        if (caller_ == nullptr)
            return;
        cell().expect_margin("handle");
        const Handle stored = *pointer();
        if (stored == nullptr)
            add_finding("stored handle", "a handle, or nothing stored", "a null");
        else if (reinterpret_cast<uint64_t>(stored) != sentinel_)
            *caller_ = stored;
    }

private:
    static GuardedMemory &cell() {
        // NOLINTNEXTLINE(bugprone-sizeof-expression): a handle is a pointer
        thread_local GuardedMemory memory(sizeof(Handle));
        return memory;
    }
    static void store(uint64_t value) { std::memcpy(cell().data(), &value, sizeof value); }

    Handle *caller_;
    uint64_t sentinel_ = 0;
};

}  // namespace conformance
