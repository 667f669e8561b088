// The checker's outline of a file, held against what the plug-in's own servers make of the same bytes.
#pragma once

#include <string>
#include <vector>

#include "simhost/check/checked_file.h"

// A line for each difference: none when the two agree. Serves the file from memory, so the program must link
// stspi_config_redirect.
std::vector<std::string> disagreements(const CheckedFile &file);

// A line for each promise that a file without any finding does not keep: every pool is listed for its hosts, every volume
// is found in its own pool, mounts are tried, every server opens. None for a file with findings.
std::vector<std::string> broken_promises(const CheckedFile &file);
