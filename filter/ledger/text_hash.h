// Numbers that stand for texts, the same in every process and on every machine.
#pragma once

#include <cstdint>
#include <string_view>

namespace filter {

// Two numbers as one, with every bit of both in every bit of it.
inline uint64_t mixed(uint64_t a, uint64_t b) {
    uint64_t x = a + 0x9e3779b97f4a7c15 * (b + 1);
    x = (x ^ (x >> 30)) * 0xbf58476d1ce4e5b9;
    x = (x ^ (x >> 27)) * 0x94d049bb133111eb;
    return x ^ (x >> 31);
}

inline uint64_t text_hash(std::string_view text) {
    uint64_t hash = 0xcbf29ce484222325;
    for (const char byte : text)
        hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001b3;
    return mixed(hash, text.size());
}

}  // namespace filter
