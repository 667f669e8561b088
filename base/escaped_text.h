// Text of unknown origin, made fit to be read by people.
#pragma once

#include <string>

// The text in double quotes, safe on a terminal: control characters, '"' and '\' as escapes.
std::string in_quotes(const std::string &text);

// The same without the quotes, for texts that stand on a line of their own.
std::string printable(const std::string &text);
