// The outcome of a run for people: verdict first.
#pragma once

#include <string>
#include <vector>

#include "simhost/report/report.h"

void tell_load(const Json &load, Report &report);

// "BROKEN: 3 promises (2 stale block, 1 lost image)", or what was kept.
std::string verdict_text(const Json &load);

// Titles and rows of the tables of latencies and of growth.
using TextRows = std::vector<std::vector<std::string>>;
TextRows latency_rows(const Json &latencies);
TextRows growth_rows(const Json &growth);
