// What one plug-in did in a history, call by call, as what another is expected to do.
#pragma once

#include <deque>
#include <string>

#include "conformance/explore/observed.h"
#include "conformance/model/call.h"
#include "conformance/model/expected.h"

namespace conformance {

// Where the tables of a plug-in lie: registration records tell it.
struct TablePlaces {
    const void *first = nullptr;
    const void *second = nullptr;
};

struct Deeds {
    std::deque<model::Expected> calls;  // in the order in which they are compared
    std::deque<std::string> outputs;    // of calls that ran at the same time
    std::string made;                   // in the file system, in the end
};

// asked: what the model expects of the call. It says whose sizes a record tells, which others may change meanwhile.
model::Expected as_expected(const model::Call &call, const Observed &observed, const model::Expected &asked,
                            const TablePlaces &own, const TablePlaces &others);

}  // namespace conformance
