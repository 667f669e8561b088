// The outcome of a run as one page with charts, which needs no network.
#pragma once

#include <string>

#include "simhost/report/report.h"

std::string load_page(const Json &load);
