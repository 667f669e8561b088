// The image library as a test wants it.
//
// A program that links this file defines the library's functions itself; the plug-in under it calls these.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "stspi/stsimg.h"

// One call of the library.
struct ImageLibraryCall {
    std::string function;
    uint64_t arguments[6];    // as they came in the registers
    std::string lsu;          // calls that name an LSU
    std::string server_name;  // likewise
};

// A pointer as it is recorded among the arguments.
inline uint64_t pointer_bits(const void *pointer) { return reinterpret_cast<uintptr_t>(pointer); }

// While it lives, every call is recorded and answered with the wanted status (0 at first). Without one, calls give 0.
class ImageLibraryDouble {
public:
    ImageLibraryDouble();
    ~ImageLibraryDouble();
    ImageLibraryDouble(const ImageLibraryDouble &) = delete;
    ImageLibraryDouble &operator=(const ImageLibraryDouble &) = delete;

    const std::vector<ImageLibraryCall> &calls() const { return m_calls; }
    void answer_with(int32_t status) { m_status = status; }

    // What reads and writes report; reads also fill as much of the buffer with read_byte.
    int32_t read_status = 0;
    uint64_t read_count = 0;
    char read_byte = 'r';
    int32_t write_status = 0;
    uint64_t write_count = 0;
    bool sets_counts = true;  // false: a library that leaves the counts as it finds them
    std::string written;      // what the writes were given

    // Run when a call arrives, before anything else.
    std::function<void()> when_called;

    // For the library's functions.
    int32_t record(ImageLibraryCall call);

private:
    std::vector<ImageLibraryCall> m_calls;
    int32_t m_status = 0;
};
