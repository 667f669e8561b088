// Numbers in fields of 1, 2, 4 or 8 bytes, in the processor's own byte order. Which bytes of a wider number are the low ones
// differs between processors, so a field is read and written as a number of its own width, never byte by byte.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

template <class Number>
uint64_t number_as(const void *field) noexcept {
    Number number = 0;
    std::memcpy(&number, field, sizeof number);
    return number;
}

// The number in a field, without regard to a sign; 0 for a field of another size.
inline uint64_t number_in_field(const void *field, size_t size) noexcept {
    switch (size) {
        case sizeof(uint8_t):
            return number_as<uint8_t>(field);
        case sizeof(uint16_t):
            return number_as<uint16_t>(field);
        case sizeof(uint32_t):
            return number_as<uint32_t>(field);
        case sizeof(uint64_t):
            return number_as<uint64_t>(field);
        default:
            return 0;
    }
}

template <class Number>
void put_number_as(void *field, uint64_t number) noexcept {
    const auto fitting = static_cast<Number>(number);
    std::memcpy(field, &fitting, sizeof fitting);
}

// As much of the number's low end as the field holds. A field of another size stays as it is.
inline void put_number(void *field, size_t size, uint64_t number) noexcept {
    switch (size) {
        case sizeof(uint8_t):
            put_number_as<uint8_t>(field, number);
            break;
        case sizeof(uint16_t):
            put_number_as<uint16_t>(field, number);
            break;
        case sizeof(uint32_t):
            put_number_as<uint32_t>(field, number);
            break;
        case sizeof(uint64_t):
            put_number_as<uint64_t>(field, number);
            break;
        default:
            break;
    }
}
