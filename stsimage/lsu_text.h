// LSU texts: which are acceptable, and to what they lead.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "stspi/sts_types.h"

namespace stsimage {

constexpr size_t longest_lsu_text = STS_LSU_NAME_SIZE - 1;

// What no LSU text may be, wherever it leads.
int32_t check_lsu_text(std::string_view text);

// Says that a text is refused, and why.
int32_t refuse_lsu_text(std::string_view text, const char *why);

// Spells an acceptable text in the one way that leads to its LSU where there are no directories: without empty components.
// One with "." or ".." is refused, since nothing there could be meant by it.
int32_t normalize_lsu_text(std::string_view text, std::string &out_text);

}  // namespace stsimage
