// The plug-in's calls, measured. Arguments are Google Benchmark's, --benchmark_filter=REGEX for instance.
#include "bench/configuration_files.h"
#include "bench/entry_point_costs.h"
#include "bench/ratio_report.h"
#include "bench/section_costs.h"

int main(int argc, char **argv) {
    const ConfigurationFiles files;
    register_entry_point_costs(files);
    register_section_costs(files);
    return run_with_ratios(argc, argv, true);
}
