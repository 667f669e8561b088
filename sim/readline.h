// Reading of configuration lines.
#pragma once

#include <cstdio>

// Reads the next line of stream and stores it in out without any of its white space, inner blanks and the line feed
// included.
//   out     size bytes, untouched when nothing is read
//   size    at most size - 1 bytes are read at once: a longer line comes in pieces; with size 1, out becomes ""
// Returns out, or null at the end of the file, on an error, and for a size below 1.
char *readline(char *out, int size, FILE *stream);
