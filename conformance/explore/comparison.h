// What a call must bring about, held against what it did.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "conformance/explore/observed.h"
#include "conformance/model/call.h"
#include "conformance/model/expected.h"

namespace conformance {

// The first thing in which they differ.
struct Difference {
    std::string aspect;  // "status", "messages", ...: the same for the same mistake
    std::string expected;
    std::string got;
};

std::optional<Difference> difference(const model::Call &call, const model::Expected &expected,
                                     const Observed &observed);

}  // namespace conformance
