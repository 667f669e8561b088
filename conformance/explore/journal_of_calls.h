// Keeps the calls of a history in a journal, which a replay makes again.
#pragma once

#include <memory>
#include <string>

#include "conformance/explore/plugin_caller.h"

namespace conformance {

// In the process that makes the calls. Throws std::runtime_error when the journal cannot be written.
std::unique_ptr<CallListener> journal_of_calls(const std::string &path, const std::string &plugin, uint64_t seed);

}  // namespace conformance
