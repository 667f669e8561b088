// The checks of a Copan file.
#pragma once

#include "simhost/check/findings.h"
#include "simhost/check/outline.h"
#include "simhost/check/source_text.h"

Outline check_copan(const SourceText &source, Findings &findings);
