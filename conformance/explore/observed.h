// What a call did, as seen from outside.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "conformance/calls/image_double.h"
#include "conformance/model/expected.h"

namespace conformance {

struct Observed {
    int32_t status = 0;
    std::optional<uint64_t> stored;  // what was put into the place for a handle
    std::vector<model::Message> messages;
    std::string output;
    std::vector<ImageCall> library;
    std::string record;
    uint64_t count = 0;
    std::string damage;      // what was written where nothing may be written, "" for nothing
    std::string wrong_slot;  // of the tables that a registration hands over, "" for none
    // For the image library's calls: where the caller's own things stand.
    uint64_t definition = 0;
    uint64_t out = 0;
};

// What a place for a handle or a count holds before a call.
constexpr uint64_t UNSTORED = 0xa5a55a5aa5a55a5a;

}  // namespace conformance
