// Names of images, and the files that bear them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "stspi/stsimg.h"

namespace stsimage {

// Takes the name out of a definition when it is acceptable.
int32_t name_of(const sts_image_definition_t &definition, std::string_view &out_name);

// The file of an image, in its LSU's directory.
std::string file_of(std::string_view name);

// The other way round: false for a file that is no image's.
bool name_of_file(std::string_view file, std::string_view &out_name);

// Whether a text has a byte below 0x20 or 0x7f.
bool has_control_character(std::string_view text);

}  // namespace stsimage
