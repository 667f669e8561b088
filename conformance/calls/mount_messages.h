// A mount that fails with a message through the simulators' own session: the way to see whose session that is.
#pragma once

#include "conformance/calls/entry_points.h"

namespace conformance {

// Mounts a group that no configuration has.
void fail_a_mount(sts_server_handle_t handle);

// What the simulator logs about it, whatever the mask.
LogLine unknown_group();

}  // namespace conformance
