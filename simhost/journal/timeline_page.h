// A journal as one page with nothing from elsewhere: threads as rows, calls as bars, faults marked.
#pragma once

#include <string>

#include "journal/events.h"

// name: of the journal, for the title. Of a long journal the first 100,000 calls are drawn, and the page says so.
std::string timeline_page(journal::Events &events, const std::string &name);
