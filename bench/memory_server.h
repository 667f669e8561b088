// A server whose images lie in memory, and whose calls cost next to nothing: what a load adds to a call stands out against it.
#pragma once

#include "simhost/host/entry_points.h"

// One LSU, "gold", and 64 images of at most 4096 bytes, told apart by the number at the end of their names. For one thread.
EntryPoints memory_server();
