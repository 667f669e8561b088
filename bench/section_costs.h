// What files of 10 to 10,000 sections cost.
#pragma once

#include "bench/configuration_files.h"

// Registers the benchmarks; each reports its time per section as well.
void register_section_costs(const ConfigurationFiles &files);
