// Findings as a compiler shows them.
#pragma once

#include <string>

#include "simhost/check/checked_file.h"

// Every finding with its line and a caret; ends with a line end unless empty.
std::string findings_text(const CheckedFile &file, bool colours);

// "Kelvarpool.sim: disk array, 2 pools, 14 volumes, 3 hosts: 1 error, 2 warnings"
std::string summary_text(const CheckedFile &file);

// "1 error, 2 warnings", "good".
std::string verdict_text(const std::vector<Finding> &findings);
