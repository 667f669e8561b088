// A history: configuration files, and what a host does then.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "conformance/model/call.h"
#include "conformance/model/model.h"

namespace conformance {

using Lines = std::vector<std::string>;

struct History {
    std::map<std::string, Lines> files;  // name without ".sim" -> lines, each with what ends it
    std::vector<model::Call> calls;
};

// What "{work}" and "{own}" in texts of a history stand for.
struct Places {
    std::string work;
    std::string own;
};

std::string expanded(std::string text, const Places &places);
// The other way: for texts that are shown.
std::string collapsed(std::string text, const Places &places);

History expanded(History history, const Places &places);
model::Configuration configuration_of(const History &history);

// "stspi_open_server(session 0, "copan:arr1") -> 3".
std::string call_text(const model::Call &call);

// The files and calls, one call a line.
std::string history_text(const History &history);

}  // namespace conformance
