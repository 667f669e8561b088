// How much of the caller's stack may be copied.
#pragma once

#include <cstdint>

namespace filter {

// Words from stack on that can be read: at most so many, and an even number. Asks the system once a page and thread.
uint64_t readable_words(const uint64_t *stack, uint64_t most);

}  // namespace filter
