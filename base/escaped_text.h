// Text of unknown origin, made fit to be read by people.
#pragma once

#include <string>

// The text in double quotes, safe on a terminal: bytes that are no UTF-8, characters that cannot be seen,
// '"' and '\' as escapes. Control characters of all kinds, marks of writing direction and special blanks are such.
std::string in_quotes(const std::string &text);

// The same without the quotes, for texts that stand on a line of their own.
std::string printable(const std::string &text);

// A whole line, perhaps with parts that are escaped already: what cannot be seen is escaped, and nothing else, so that
// nothing is escaped twice.
std::string visible(const std::string &line);
