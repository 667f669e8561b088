// Names of the form LEFT:RIGHT, which stand for one disk or volume of a pool.
#pragma once

#include "sim/name_types.h"

// Whether name holds a ':' anywhere, also at its start.
bool isDynamicLSUName(const char *name);

// Splits name at its first ':'. A name without one gives the whole name as both parts: that is how a plain pool name is
// mounted. Returns 0, or -1 for a name that begins with ':', with left and right untouched.
int parseDynamicLSUName(const char *name, Name &left, Name &right);
