// What rules do to one call.
#pragma once

#include <cstdint>
#include <vector>

#include "filter/call_view.h"
#include "filter/list_entries.h"
#include "filter/rule_set.h"

namespace filter {

// A rule that fires for this call.
struct Firing {
    ActiveRule *active;
    uint64_t draw;
};

class Effects {
public:
    explicit Effects(CallView &call) : m_call(call) {}

    // Acts before the call. True: it has been answered in its place, with this status. acted: whether there was anything
    // to act on.
    bool before(const Firing &firing, int32_t &status, bool &acted);

    // Keeps what an effect after the call will need.
    void prepare_after(const Firing &firing);
    // Acts after the call, or after the effects before it. Returns whether there was anything to act on.
    bool after(const Firing &firing, int32_t &status, ListEntries &entries);

private:
    bool pretend();
    bool change_written(const Firing &firing);
    bool change_read(const Firing &firing, int32_t status);
    bool change(const Firing &firing, unsigned char *data, uint64_t size) const;
    bool shorten(const Effect &effect);
    bool tell_less(const Effect &effect, int32_t status);
    void keep_pace(ActiveRule &active, uint64_t bytes);
    bool restore(int32_t status);
    bool set_field(const Effect &effect, int32_t status);
    bool log(const Effect &effect);

    CallView &m_call;
    std::vector<unsigned char> m_written;  // data on its way in, changed
    std::vector<unsigned char> m_kept;     // the caller's memory as it was before the call
};

}  // namespace filter
