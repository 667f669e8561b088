#include "conformance/report/badge.h"

#include <nlohmann/json.hpp>

namespace conformance {

std::string badge_json(const Verdict &verdict) {
    const char *color = verdict.level == level_count ? "brightgreen" : verdict.level >= 3 ? "yellow" : "red";
    const nlohmann::ordered_json badge = {
        {"schemaVersion", 1}, {"label", "stspi conformance"}, {"message", level_text(verdict)}, {"color", color}};
    return badge.dump(2) + "\n";
}

}  // namespace conformance
