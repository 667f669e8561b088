// Every entry point, beside the bare calls that it cannot do without.
#pragma once

#include "bench/configuration_files.h"

// Registers the benchmarks; they write the files they need into files, which must outlive the run.
void register_entry_point_costs(const ConfigurationFiles &files);
