// The verdict as a badge of an endpoint service shows it.
#pragma once

#include <string>

#include "conformance/report/verdict.h"

namespace conformance {

// {"schemaVersion": 1, "label": "stspi conformance", "message": "level 4 of 5", "color": "yellow"}
std::string badge_json(const Verdict &verdict);

}  // namespace conformance
