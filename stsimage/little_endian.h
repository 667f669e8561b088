// A number as it lies in a file, whatever the processor's own byte order is.
#pragma once

#include <cstdint>

namespace stsimage {

template <class Number>
class LittleEndian {
public:
    // cppcheck-suppress uninitMemberVar  ; trivial, as a part of records that are read
    LittleEndian() = default;
    constexpr LittleEndian(Number value) : m_stored(converted(value)) {}
    constexpr operator Number() const { return converted(m_stored); }

private:
    // To the file's order and back.
    static constexpr Number converted(Number value) {
        static_assert(sizeof(Number) == 4 || sizeof(Number) == 8);
        if constexpr (__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__)
            return value;
        else if constexpr (sizeof(Number) == 4)
            return static_cast<Number>(__builtin_bswap32(static_cast<uint32_t>(value)));
        else
            return static_cast<Number>(__builtin_bswap64(static_cast<uint64_t>(value)));
    }

    Number m_stored;
};

}  // namespace stsimage
