// What an exploration tells: the finding, cut down, and what of the interface was come to.
#pragma once

#include <string>

#include "conformance/explore/exploration.h"

namespace conformance {

// The cut-down finding as people read it.
std::string finding_text(const History &history, const HistoryFinding &finding);

// A last line of figures, and the parts of the interface that nothing came to.
std::string figures_text(const ExplorationResult &result);

// All of it for programs. history: null when nothing was found.
std::string exploration_json(const ExplorationPlan &plan, const ExplorationResult &result, const History *history,
                             const HistoryFinding &finding, const std::string &plugin);

// A test of the suite that makes the calls of the history and expects what the model expected of the last.
std::string test_text(const History &history, const HistoryFinding &finding);

}  // namespace conformance
