// The calls of a recorded test made again, in the surroundings that the test had made.
#pragma once

#include <chrono>
#include <string>

#include "journal/replay/replay_run.h"

namespace conformance {

// Records what the plug-in does now in the directory `again`. The test's directory is made anew, under its name, and removed.
// Throws std::runtime_error when something stands there, or nothing can be read or made.
ReplayOutcome replay_test(const std::string &recorded, const std::string &plugin, std::chrono::milliseconds time_limit,
                          ReplayPace pace, const std::string &again);

}  // namespace conformance
