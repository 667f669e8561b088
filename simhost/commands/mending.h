// "check --fix": mended files in the place of the old ones.
#pragma once

#include <string>

#include "simhost/check/mend.h"

// Writes the mended bytes to the file, and keeps the old ones beside it under a free name, which is returned. The file
// keeps its mode and is never there in part. Throws UsageError when it cannot be done; the file is then as it was.
std::string write_mended(const std::string &path, const Mend &mend);
