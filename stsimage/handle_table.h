// The live handles of one kind.
//
// A handle is a number in the guise of a pointer. Numbers are never used again, and none is the address of anything: so a
// stale, foreign or made-up handle is found out without looking at the memory it might point to.
#pragma once

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <thread>
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

    using Objects = std::unordered_map<uint64_t, std::shared_ptr<Object>>;

    // Ends all handles and gives what was behind them. In a process that was forked the table may belong for ever to a thread which that
    // one does not have: then it stays as it is.
    Objects take_all() {
        Objects ended;
        std::unique_lock<std::shared_mutex> lock(mutex, std::try_to_lock);
        for (int look = 0; !lock.owns_lock() && (look < 1000 || getpid() == maker); ++look) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            lock.try_lock();
        }
        if (lock.owns_lock())
            ended.swap(objects);
        return ended;
    }

private:
    const pid_t maker = getpid();
    mutable std::shared_mutex mutex;
    Objects objects;
};

inline uint64_t next_handle_number() {
    static std::atomic<uint64_t> last{0x5354'0000'0000'0000};
    return ++last;
}

}  // namespace stsimage
