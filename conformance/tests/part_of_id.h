// Ids of tests that a table of entry points gives.
#pragma once

#include <string>

namespace conformance {

// What such an id says of an entry point: "open-server" for "stspi_open_server".
std::string part_of_id(const std::string &entry_point);

}  // namespace conformance
