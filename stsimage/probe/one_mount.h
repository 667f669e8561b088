// What a directory's file system offers to the processes of one host.
#pragma once

#include <string>
#include <vector>

#include "stsimage/probe/finding.h"

namespace stsimage::probe {

// Tries it in an empty directory.
std::vector<Finding> try_one_mount(const std::string &directory);

}  // namespace stsimage::probe
