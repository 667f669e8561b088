#include "stsimage/call_patience.h"

#include <algorithm>

namespace stsimage {

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::milliseconds;

}  // namespace

CallPatience::CallPatience() : earlier(call_state()) {
    CallState &state = call_state();
    state.in_call = true;
    state.limited = false;
}

CallPatience::~CallPatience() { call_state() = earlier; }

void note_time_out(Milliseconds time_out) {
    CallState &state = call_state();
    if (!state.in_call || state.limited)
        return;
    state.limited = true;
    state.end = Clock::now() + time_out;
}

Milliseconds time_left_for_call() {
    const CallState &state = call_state();
    if (!state.limited)
        return Milliseconds::max();
    return std::max(Milliseconds::zero(), std::chrono::duration_cast<Milliseconds>(state.end - Clock::now()));
}

bool is_call_limited() { return call_state().limited; }

}  // namespace stsimage
