// Sizes of the configuration file.
#pragma once

#include <cstdint>

// The bytes that a size such as "100G;" stands for.
//   text    a decimal number, an optional unit letter (K, M, G, T, P: powers of 1024, either case; any other letter
//           counts as bytes) and exactly one more character, normally ';'
// The unit is looked for in the second-to-last character only, so "100G" is 100. A text shorter than two characters is a
// number without a unit. The number is cut to a signed 32-bit integer before the unit multiplies it, modulo 2^64:
// "3000000000;" is 18446744072414584320.
uint64_t parse_size(const char *text);
