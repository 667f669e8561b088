// An entry point called with nothing but nulls, whatever its arguments are.
#pragma once

#include "stspi/sts_types.h"

// Sixteen nulls, in the registers that the processor has for arguments and then on the stack: more than any entry point of
// the interface takes. What a caller does not hand over is not null but whatever lies on the stack.
int32_t call_with_nulls(sts_entry_point_t entry_point);
