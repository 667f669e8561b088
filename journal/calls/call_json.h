// The arguments and results of a call as JSON. What differs from run to run, addresses, is kept apart.
#pragma once

#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "journal/events.h"

using Json = nlohmann::ordered_json;

// A text as a string; {"hex": ...} when it is no UTF-8.
Json text_json(std::string_view text);

using HandleNaming = std::function<std::string(journal::HandleKind kind, uint64_t value)>;

struct CallJson {
    Json values = Json::object();     // by argument, of records by field
    Json addresses = Json::object();  // of pointers and foreign handles, by path: "lsu.server"
};

// The items of an entering or leaving record. Handles get the names that the function gives.
CallJson call_json(const journal::Event &event, const HandleNaming &naming);
