// Tests on one side of a fork that happened after the plug-in was loaded: frameworks load their plug-ins once and fork
// for each job.
#pragma once

namespace conformance {

enum class ForkSide { none, parent, child };

// parent: forks a child that ends at once, and returns when it has. child: returns in a child; this process waits for it
// and ends as it does, by the same signal too. none: returns. Throws std::runtime_error when there can be no child.
void go_to_fork_side(ForkSide side);

}  // namespace conformance
