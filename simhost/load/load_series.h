// A run over time for other programs.
#pragma once

#include <string>

#include "simhost/report/report.h"

// Lines of comma-separated values, the first with their names: one a point of time.
std::string series_csv(const Json &load);

// The totals in Prometheus' text format, for a collector that reads files.
std::string metrics_text(const Json &load);
