// Lengths of time that engines let the environment set.
#pragma once

#include <cstdint>

namespace stsimage {

// A whole number of seconds up to a day; STSIMG_E_INVALID_LSU for anything else.
int32_t read_seconds(const char *variable, long least, uint32_t usual, uint32_t &out_seconds);

}  // namespace stsimage
