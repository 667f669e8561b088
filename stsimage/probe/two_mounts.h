// What a file system keeps between two hosts, for which two mounts of it stand.
#pragma once

#include <string>
#include <vector>

#include "stsimage/probe/finding.h"

namespace stsimage::probe {

// Tries it in an empty directory, which has one path by each mount.
std::vector<Finding> try_two_mounts(const std::string &here, const std::string &there);

}  // namespace stsimage::probe
