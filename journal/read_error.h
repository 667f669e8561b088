#pragma once

#include <stdexcept>

namespace journal {

// A file that is no journal, or cannot be read; what() begins with its path.
struct ReadError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

}  // namespace journal
