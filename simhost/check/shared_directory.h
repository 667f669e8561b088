#pragma once

#include "simhost/check/findings.h"
#include "simhost/check/outline.h"

// Reports volumes of different Copan servers that have one directory, and so the same images.
void check_shared_directories(const Outline &outline, Findings &findings);
