// Commands that load_process may be given, with what becomes of them on any machine.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace conformance::model {

struct Command {
    std::optional<std::string> program;   // nothing is a null
    std::optional<std::string> argument;  // the same
    int32_t status;
    std::string output;
};

const std::vector<Command> &commands();

}  // namespace conformance::model
