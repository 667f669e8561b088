// Opening directories that texts of unknown origin lead to.
#pragma once

#include <cstdint>
#include <string>

#include "stsimage/file_descriptor.h"

namespace stsimage {

// Opens the directory at an absolute path. When it is empty, errno says why: EXDEV if a link leads into a directory of
// unfinished images.
FileDescriptor open_directory(const std::string &path);

// The same for a path below another directory, which no link may lead out of: EXDEV too.
FileDescriptor open_directory_below(const FileDescriptor &base, const std::string &path);

}  // namespace stsimage
