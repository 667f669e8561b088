// Properties that do not change while a load runs: what names things and tells their kind. Amounts may change.
#pragma once

#include <string>

#include "stspi/sts_types.h"

// How they differ from those that were told before, in words; empty when they do not.
std::string changed_property(const sts_lsu_info_v9_t &before, const sts_lsu_info_v9_t &now);
std::string changed_property(const sts_server_info_t &before, const sts_server_info_t &now);
