// What fuzz targets share.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

// Ends the run with the broken expectation, also in builds where assert does nothing.
#define EXPECT(condition)                                                                \
    do {                                                                                 \
        if (!(condition)) {                                                              \
            std::fprintf(stderr, "%s:%d: not so: %s\n", __FILE__, __LINE__, #condition); \
            std::abort();                                                                \
        }                                                                                \
    } while (false)

inline std::string text_of(const uint8_t *data, size_t size) { return {reinterpret_cast<const char *>(data), size}; }

// Up to the first NUL, as a C function sees it.
inline std::string c_string_of(const uint8_t *data, size_t size) {
    return {reinterpret_cast<const char *>(data), strnlen(reinterpret_cast<const char *>(data), size)};
}

// Whether every byte is one that a name may hold, and the name is not too long.
inline bool is_name(const std::string &text) {
    const char *const allowed = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_-.";
    return text.size() <= 31 && text.find_first_not_of(allowed) == std::string::npos;
}
