// A journal in the trace event format that Chrome's and Perfetto's viewers read.
#pragma once

#include <functional>
#include <string>

#include "journal/events.h"

// Hands over the document piece by piece. A call is a slice; faults, messages and output are marks on it; a call that was
// never left is a slice without an end.
void write_chrome_trace(journal::Events &events, const std::function<void(const std::string &)> &write);
