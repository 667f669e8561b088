// What an exploration tells: the finding, cut down, and what of the interface was come to.
#pragma once

#include <string>

#include "conformance/explore/exploration.h"

namespace conformance {

// What is told in the end.
struct Found {
    History history;
    HistoryFinding finding;
    bool is_again = false;  // false: seen once, by the job that played it first; the history is whole then
};

// What the two sides of a finding are called.
struct Sides {
    std::string expected = "expected";
    std::string got = "got";
};

// The cut-down finding as people read it.
std::string finding_text(const History &history, const HistoryFinding &finding, const Sides &sides = {});

// A last line of figures, and the parts of the interface that nothing came to.
std::string figures_text(const ExplorationResult &result);

// All of it for programs. found: null for nothing. against: "" for the model.
std::string exploration_json(const ExplorationPlan &plan, const ExplorationResult &result, const Found *found,
                             const std::string &plugin, const std::string &against);

// A test of the suite that makes the calls of the history, expects each call's status, and of the one in which something was
// found all that the model expects.
std::string test_text(const History &history, const HistoryFinding &finding, const Expectations &expected);

}  // namespace conformance
