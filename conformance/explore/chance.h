// Chance that is the same everywhere for the same seed.
#pragma once

#include <cstdint>
#include <vector>

namespace conformance {

class Chance {
public:
    // Independent for each number of one seed.
    Chance(uint64_t seed, uint64_t number) : state_(mixed(seed) ^ mixed(~number * 0x9e3779b97f4a7c15)) {}

    uint64_t bits() { return mixed(state_ += 0x9e3779b97f4a7c15); }
    // 0 to bound - 1.
    size_t below(size_t bound) { return static_cast<size_t>(bits() % bound); }
    // True once in so many times.
    bool one_in(size_t times) { return below(times) == 0; }

    template <typename Value>
    const Value &pick(const std::vector<Value> &values) {
        return values[below(values.size())];
    }

private:
    static uint64_t mixed(uint64_t z) {
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9;
        z = (z ^ (z >> 27)) * 0x94d049bb133111eb;
        return z ^ (z >> 31);
    }

    uint64_t state_;
};

}  // namespace conformance
