#pragma once

#include <string>

#include "simhost/check/findings.h"
#include "simhost/check/outline.h"

// Records that a line sets a key whose earlier value is given up, and reports the earlier one if there is one.
void set_key(SetKeys &keys, const std::string &key, const Value &value, Place line, Findings &findings);
