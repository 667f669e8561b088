// A hash of a stream of bytes (XXH3, 128 bits).
#pragma once

#include <cstddef>
#include <memory>
#include <string>

class StreamHash {
public:
    StreamHash();
    ~StreamHash();
    StreamHash(StreamHash &&) noexcept;
    StreamHash &operator=(StreamHash &&) noexcept;

    void add(const void *data, size_t length);
    // 32 hexadecimal digits, as xxh128sum prints them.
    std::string text() const;

private:
    struct State;
    std::unique_ptr<State> m_state;
};
