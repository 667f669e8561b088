#include "simhost/host/stream_hash.h"

#include <fmt/format.h>
#ifdef __x86_64__
#include <xxh_x86dispatch.h>  // XXH3 with the vector instructions that the processor has
#else
#include <xxhash.h>
#endif

#include <new>

struct StreamHash::State {
    State() : state(XXH3_createState()) {
        if (state == nullptr)
            throw std::bad_alloc();
        XXH3_128bits_reset(state);
    }
    ~State() { XXH3_freeState(state); }
    State(const State &) = delete;
    State &operator=(const State &) = delete;

    XXH3_state_t *state;
};

StreamHash::StreamHash() : m_state(std::make_unique<State>()) {}
StreamHash::~StreamHash() = default;
StreamHash::StreamHash(StreamHash &&) noexcept = default;
StreamHash &StreamHash::operator=(StreamHash &&) noexcept = default;

void StreamHash::add(const void *data, size_t length) { XXH3_128bits_update(m_state->state, data, length); }

std::string StreamHash::text() const {
    XXH128_canonical_t canonical;
    XXH128_canonicalFromHash(&canonical, XXH3_128bits_digest(m_state->state));
    std::string result;
    for (const unsigned char byte : canonical.digest)
        result += fmt::format("{:02x}", byte);
    return result;
}
