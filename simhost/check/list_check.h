// Lists that the format allows and that are hardly meant: it knows no ranges, no counts and no words for "all".
#pragma once

#include <vector>

#include "simhost/check/value.h"

// All names that a section has of a kind: "disk", "host", "volume".
void check_meaning(const std::vector<ListedName> &names, const char *what, Findings &findings);
