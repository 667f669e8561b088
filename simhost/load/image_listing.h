// The operation "list": all images of an LSU, held against the ledger.
#pragma once

#include "simhost/load/stream_calls.h"
#include "stspi/stsimg.h"

// Lists the LSU of the stream. What does not change meanwhile must be listed once, or not at all.
void list_images(StreamCalls &stream);
