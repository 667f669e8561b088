#include "base/invariant.h"

void throw_broken_invariant(const char *text) { throw BrokenInvariant(text); }
