// The checks of a disk-array file.
#pragma once

#include "simhost/check/findings.h"
#include "simhost/check/outline.h"
#include "simhost/check/source_text.h"

Outline check_array(const SourceText &source, Findings &findings);
