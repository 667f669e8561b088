// Cuts a history down to what is needed for the same finding.
#pragma once

#include <functional>

#include "conformance/explore/history.h"

namespace conformance {

// is_same: plays a history and tells whether the same is found. Tries to leave out calls, lines of files and files, and to
// make arguments plainer, until nothing more can go; at most so many times.
History shrunk(History history, const std::function<bool(const History &)> &is_same, size_t most_tries);

}  // namespace conformance
