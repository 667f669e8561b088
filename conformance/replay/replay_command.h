// "stspi-conformance replay": recorded tests made again.
#pragma once

namespace conformance {

// Gives the program's exit status: 0 all calls did the same, 1 some did not, 2 they cannot be made. Throws std::runtime_error.
int replay_command(int argc, char **argv);

}  // namespace conformance
