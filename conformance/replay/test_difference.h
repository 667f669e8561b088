// What differs between two recordings of the same calls.
#pragma once

#include <string>
#include <vector>

namespace conformance {

struct DeedDifference {
    std::string call;  // entry point and number of the call in its thread, or ""
    std::string what;  // "status", "results.info.flags", "log", "call 1 of the image library", ...
    std::string first;
    std::string second;
};

struct TestDifference {
    unsigned long same = 0;  // calls
    std::vector<DeedDifference> differences;
};

// Of two directories that --record left. Addresses and times are not looked at, nor what others change on a disk. Throws
// std::runtime_error when one cannot be read.
TestDifference differences_between(const std::string &first, const std::string &second);

}  // namespace conformance
