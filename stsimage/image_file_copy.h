// A private copy of an image's file.
#pragma once

#include <cstdint>
#include <string>

namespace stsimage {

// Copies a file into an empty one, keeping its holes. Where the file system can share the blocks, nothing is moved. The
// path is for messages.
int32_t copy_file(int source, int target, const std::string &path);

}  // namespace stsimage
