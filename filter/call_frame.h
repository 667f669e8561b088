// One call as it came: the caller's registers and stack. The layout is trampolines.S's.
#pragma once

#include <cstddef>
#include <cstdint>

namespace filter {

struct CallFrame {
    uint64_t function;  // number in exported_functions.h
    uint64_t rax;       // its low byte counts the vector registers of a variable argument list
    uint64_t arguments[6];
    unsigned char vectors[8][16];
    const uint64_t *stack;  // the seventh argument and those behind it
    uint64_t padding;
};
static_assert(offsetof(CallFrame, arguments) == 16 && offsetof(CallFrame, vectors) == 64 &&
              offsetof(CallFrame, stack) == 192 && sizeof(CallFrame) == 208);

// What becomes of a call.
struct Outcome {
    int64_t result;
    uint64_t done;  // 0: the wrapped plug-in is still to be called, with the frame's registers
};

}  // namespace filter
