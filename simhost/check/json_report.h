// Findings for programs.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "simhost/check/checked_file.h"

nlohmann::ordered_json finding_json(const Finding &finding);

// What "check --json" tells of one file.
nlohmann::ordered_json file_json(const CheckedFile &file);

// A file that could not be checked.
struct UncheckedFile {
    std::string path;
    std::string reason;  // one sentence, made safe for a terminal
};
nlohmann::ordered_json unchecked_json(const UncheckedFile &file);

struct SarifRun {
    std::string version;  // of this program
    int exit_status = 0;
};

// A SARIF 2.1.0 log of one run over all files.
nlohmann::ordered_json sarif_log(const std::vector<CheckedFile> &files, const std::vector<UncheckedFile> &unchecked,
                                 const SarifRun &run);
