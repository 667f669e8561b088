// What the plug-in tells about an LSU, for people and for programs.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "simhost/report/report.h"
#include "stspi/sts_types.h"

// "3 (pool)"; "9 (unknown)".
std::string describe_lsu_class(uint32_t lsu_class);
// "0x81 (standard, path)".
std::string describe_lsu_flags(uint32_t flags);

// The items of a property text, "key=value;key=value".
std::vector<std::pair<std::string, std::string>> lsu_properties(const std::string &property_text);
// The value of one of them, "" when it is not there.
std::string lsu_property(const sts_lsu_info_v9_t &info, const std::string &key);

Json lsu_to_json(const std::string &asked_name, const sts_lsu_info_v9_t &info);
