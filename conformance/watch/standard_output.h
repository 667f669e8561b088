// Standard output of a test's process goes to a file; a test takes out what a call printed.
#pragma once

#include <sys/types.h>

#include <string>

namespace conformance {

// Sends descriptors 1 and 2 of this process to the given files.
void redirect_output(int output_file, int error_file);

// What was printed on standard output since the last call, or since it was sent elsewhere.
std::string take_output();

// What was printed since place, a number of bytes in the file, which moves to the end. For whoever reads beside the test.
std::string output_since(off_t &place);

}  // namespace conformance
