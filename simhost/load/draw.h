// Random numbers that depend on seed, stream and operation alone: a stream that goes on after its process was killed draws
// what it would have drawn.
#pragma once

#include <cstdint>

class Draw {
public:
    Draw(uint64_t seed, uint64_t stream, uint64_t operation)
        : m_state(mixed(seed) ^ mixed(stream * 2 + 1) ^ mixed(operation * 2)) {}

    uint64_t next() { return mixed(m_state += 0x9e3779b97f4a7c15U); }
    // From 0 to limit - 1; limit is not 0.
    uint64_t below(uint64_t limit) { return next() % limit; }
    // From 0 to less than 1.
    double unit() { return static_cast<double>(next() >> 11) * 0x1p-53; }

    static uint64_t mixed(uint64_t value) {
        value = (value ^ (value >> 30)) * 0xbf58476d1ce4e5b9U;
        value = (value ^ (value >> 27)) * 0x94d049bb133111ebU;
        return value ^ (value >> 31);
    }

private:
    uint64_t m_state;
};
