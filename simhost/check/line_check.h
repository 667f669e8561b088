// What is wrong with lines as such, whatever they hold.
#pragma once

#include <string>

#include "simhost/check/findings.h"
#include "simhost/check/source_text.h"

// Over-long lines, NUL bytes, a byte-order mark.
void check_lines(const SourceText &source, Findings &findings);

// Whether a person would take the line for a remark.
bool looks_like_comment(const std::string &text);

bool has_byte_order_mark(const ReadLine &line);
