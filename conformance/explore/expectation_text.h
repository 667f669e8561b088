// What the model expects of a call, as lines of C++ for a test of the suite.
#pragma once

#include <string>

#include "conformance/model/call.h"
#include "conformance/model/expected.h"

namespace conformance {

// A text as an expression; "{work}" and "{own}" in it are put in when the test runs.
std::string literal(const std::string &text);

// "STS_E_NOT_FOUND", "0" or the number.
std::string status_literal(int32_t status);

// Before the call: what stands there from calls before it is taken away.
std::string preparation_text(const model::Expected &expected);

// Behind the call: messages, what was stored, standard output, calls of the image library, the record. Texts of the expectation
// hold "{work}" and "{own}".
std::string expectation_text(const model::Call &call, const model::Expected &expected);

}  // namespace conformance
