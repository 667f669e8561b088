// A journal for people: a line for each call, message, output and fault.
#pragma once

#include <map>
#include <string>
#include <tuple>

#include "journal/events.h"

// "lsu {server#1, "pool1"}, flags 7": values in short; those that are pointers only are left out.
std::string values_text(const journal::Event &event, journal::Events &events);

class CallText {
public:
    // What is to be told of the event that was returned last; "" for an entering record, whose call is told when it is
    // left.
    std::string line(const journal::Event &event, journal::Events &events);

    // A line for each call that was never left.
    std::vector<std::string> running_lines(const journal::Events &events) const;

private:
    using CallKey = std::tuple<unsigned, unsigned, uint64_t>;  // process, thread, call
    std::string opening(const journal::RecordHead &head, unsigned process, unsigned thread);

    std::map<CallKey, std::string> arguments_;
    uint64_t start_ns_ = 0;
};
