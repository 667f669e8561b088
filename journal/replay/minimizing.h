// The fewest of a journal's calls that still do something.
#pragma once

#include <functional>
#include <vector>

#include "journal/replay/recorded_calls.h"

// Which steps are left when as many as possible are left out, and still_does says yes to the rest. A step whose handle is
// opened by one that is left out is left out with it. still_does must say yes to all of them.
std::vector<bool> minimized(const RecordedSession &session,
                            const std::function<bool(const std::vector<bool> &)> &still_does);
