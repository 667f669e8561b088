// The live handles of one kind.
//
// A handle is a number in the guise of a pointer. Numbers are never used again, and none is the address of anything: so a
// stale, foreign or made-up handle is found out without looking at the memory it might point to.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <unordered_map>
#include <utility>

namespace stsimage {

// The next number, of all kinds together. Numbers begin above all addresses that Linux gives a process: x86-64 and AArch64
// have none there, s390x only for who asks for that very place.
uint64_t next_handle_number();

template <class Object>
class HandleTable {
public:
    void *add(std::shared_ptr<Object> object) {
        const uint64_t number = next_handle_number();
        const std::unique_lock<std::shared_mutex> lock(mutex);
        objects.emplace(number, std::move(object));
        return reinterpret_cast<void *>(number);
    }

    // Null for a handle that is not live.
    std::shared_ptr<Object> find(const void *handle) const {
        const std::shared_lock<std::shared_mutex> lock(mutex);
        const auto found = objects.find(reinterpret_cast<uint64_t>(handle));
        return found != objects.end() ? found->second : nullptr;
    }

    // Ends a handle and gives what was behind it.
    std::shared_ptr<Object> take(const void *handle) {
        const std::unique_lock<std::shared_mutex> lock(mutex);
        const auto found = objects.find(reinterpret_cast<uint64_t>(handle));
        if (found == objects.end())
            return nullptr;
        std::shared_ptr<Object> object = std::move(found->second);
        objects.erase(found);
        return object;
    }

    // Ends all handles.
    void clear() {
        std::unordered_map<uint64_t, std::shared_ptr<Object>> ended;
        const std::unique_lock<std::shared_mutex> lock(mutex);
        ended.swap(objects);
    }

private:
    mutable std::shared_mutex mutex;
    std::unordered_map<uint64_t, std::shared_ptr<Object>> objects;
};

inline uint64_t next_handle_number() {
    static std::atomic<uint64_t> last{0x5354'0000'0000'0000};
    return ++last;
}

}  // namespace stsimage
