// What a file asks of the machine that it is checked on.
#pragma once

#include "simhost/check/findings.h"
#include "simhost/check/outline.h"

// Looks whether the directories of the volumes can be made here, by the user who runs this program: whether what they are
// made in is there and may be written, and whether nothing else has their names. Changes nothing.
void check_machine(const Outline &outline, Findings &findings);
