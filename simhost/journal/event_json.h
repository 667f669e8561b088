// A journal as JSON lines: a header, a line for each record, and an ending. docs/journal.schema.json describes each
// line. The names of keys, what they mean and the types of their values stay as they are; new keys may be added.
// Everything that differs between two runs of the same calls is below the key "volatile".
#pragma once

#include <nlohmann/json.hpp>

#include "journal/events.h"

using Json = nlohmann::ordered_json;

Json header_json(const journal::FileFacts &facts);

// Of the event that was returned last.
Json event_json(const journal::Event &event, journal::Events &events);

// When all events have been read.
Json ending_json(const journal::Reader &reader, const journal::Events &events, uint64_t records);

// One line without its end; bytes that are no UTF-8 have been dealt with before.
std::string json_line(const Json &json);
