// LSU texts: which are acceptable, and to what they lead.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "stspi/sts_types.h"

namespace stsimage {

constexpr size_t longest_lsu_text = STS_LSU_NAME_SIZE - 1;

// What no LSU text may be, wherever it leads.
int32_t check_lsu_text(std::string_view text);

// Says that a text is refused, and why.
int32_t refuse_lsu_text(std::string_view text, const char *why);

}  // namespace stsimage
