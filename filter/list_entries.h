// Calls that give the entries of a list, told otherwise than the plug-in tells them.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "filter/call_view.h"

namespace filter {

class ListEntries {
public:
    // next: asks the plug-in for its next entry, into the caller's field.
    ListEntries(CallView &call, std::function<int32_t()> next) : m_call(call), m_next(std::move(next)) {}

    // Gives the next entry: one that was kept back, or the plug-in's.
    int32_t give();
    // The entry in the caller's field.
    std::string_view entry() const;

    // What the call gave is not given: the next one is.
    int32_t omit() { return give(); }
    // What the call gave is given by the next call too. False when the list is unknown.
    bool repeat();
    // What the call gave and all that follows, the last first. status receives the call's new one.
    bool reverse(int32_t &status);

private:
    void store(const std::string &entry) const;
    char *field() const;

    CallView &m_call;
    std::function<int32_t()> m_next;
};

}  // namespace filter
