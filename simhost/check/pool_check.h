// What is wrong with the pools of a disk array as a whole.
#pragma once

#include "simhost/check/findings.h"
#include "simhost/check/outline.h"

// Gives the enclosures the hosts that they take from disk groups, too.
void check_pools(Outline &outline, Findings &findings);
