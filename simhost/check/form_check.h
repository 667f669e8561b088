// Files that are written in another form altogether.
#pragma once

#include <optional>
#include <string>

#include "simhost/check/findings.h"
#include "simhost/check/source_text.h"

// Reports a file that no line-by-line finding would help with: UTF-16, lines that end with carriage returns alone, INI,
// JSON and XML. False when the file is none of these.
bool check_form(const SourceText &source, Findings &findings);

// The same bytes in the form that is read: for UTF-16 and carriage returns. Nothing for other files.
std::optional<std::string> in_plain_form(const std::string &bytes);
