// Allocations of the image library that fail when a test says so, as its system calls do, and are counted.
#pragma once

#include <cstdint>

// What the program holds now, the library and its test together.
int64_t live_allocations();
