#pragma once

#include <pthread.h>

#include <cstdint>

namespace base {

/**
 * A number that each thread has of its own; 0 until the thread sets it. For libraries that are loaded and unloaded in
 * foreign processes: `thread_local` takes room there that the loader does not always get back (of the storage that is
 * reserved at the start little is left, and none of it returns when two libraries go at once), or leaves books behind that
 * the leak sanitizer stumbles over. A key of the C library comes and goes with its object.
 *
 * Objects stand at namespace scope. Before its constructor and after its destructor, and where the process has no key left
 * (it has 1,024), an object holds 0 and forgets what is set: keep only what can be found anew.
 */
class ThreadValue {
public:
    ThreadValue() noexcept : m_has_key(pthread_key_create(&m_key, nullptr) == 0) {}
    ThreadValue(const ThreadValue &) = delete;
    ThreadValue &operator=(const ThreadValue &) = delete;
    ~ThreadValue() {
        if (m_has_key)
            pthread_key_delete(m_key);
        m_has_key = false;
    }

    uint64_t get() const noexcept { return m_has_key ? reinterpret_cast<uint64_t>(pthread_getspecific(m_key)) : 0; }

    void set(uint64_t value) noexcept {
        if (m_has_key)
            pthread_setspecific(m_key, reinterpret_cast<void *>(value));  // NOLINT(performance-no-int-to-ptr)
    }

private:
    pthread_key_t m_key = 0;
    bool m_has_key = false;
};

}  // namespace base
