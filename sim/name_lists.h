// Splitting of list values into names.
#pragma once

#include <string>
#include <vector>

#include "sim/name_types.h"

// Size of a name with its terminator; a longer name is cut.
constexpr int name_size = 32;

// Overwrites with NUL every byte of the first count bytes of text that a name may not hold: letters, digits, '_', '-' and
// '.' are allowed. So the C string ends at its first bad byte. Bytes behind the end of text are left alone; a count of 0
// or less does nothing.
void purify(char *text, int count);

// A copy of raw, cut to 31 bytes and purified: what a name in the file means.
Name purified_name(const char *raw);

// Splits text at any of the separator characters; empty pieces vanish. Each piece is cut to 31 bytes and purified, so one
// that begins with a bad byte becomes an empty name, which keeps its place. Returns a new list that the caller deletes.
NameList *tokenize(const char *text, const char *separators);

// As tokenize. Returns a new vector that the caller deletes.
std::vector<std::string> *tokenize_to_vector(const char *text, const char *separators);

// As tokenize, as a set: a repeated name is kept once. Returns a new set that the caller deletes. Uses strtok, so no two
// threads may be here at once, nor may anything else in the process use strtok meanwhile.
HostSet *tokenize_to_map(const char *text, const char *separators);

// The names joined with ',': a list in its own order, a set most recently added first. "" for a null pointer.
std::string joined_names(const NameList *names);
std::string joined_names(const HostSet *hosts);
