// Findings for programs.
#pragma once

#include <nlohmann/json.hpp>
#include <vector>

#include "simhost/check/checked_file.h"

// What "check --json" tells of one file.
nlohmann::ordered_json file_json(const CheckedFile &file);

// A SARIF 2.1.0 log of one run over all files.
nlohmann::ordered_json sarif_log(const std::vector<CheckedFile> &files, const std::string &version);
