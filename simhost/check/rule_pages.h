// What docs/check.md says about a finding.
#pragma once

#include <string>

#include "simhost/check/finding.h"

// The rule's section of the page, for reading on a terminal.
std::string rule_page(Rule rule);
