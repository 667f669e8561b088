// Deleting an image.
#pragma once

#include <cstdint>
#include <string_view>

#include "stsimage/lsu_directory.h"

namespace stsimage {

// Removes the file of an image, whatever it holds; STSIMG_E_OUTCOME_UNKNOWN when a file server did not say whether it has. Flushing
// the directory, which makes that last, is left to the caller.
int32_t remove_image(const LsuDirectory &lsu, std::string_view name);

}  // namespace stsimage
