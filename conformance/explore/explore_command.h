// stspi-conformance explore.
#pragma once

namespace conformance {

// argv[0] is "explore". Gives the exit status: 0 nothing found, 1 something, 2 wrong usage or nothing to explore. Throws
// std::runtime_error.
int explore_command(int argc, char **argv);

}  // namespace conformance
