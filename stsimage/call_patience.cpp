#include "stsimage/call_patience.h"

#include <algorithm>

namespace stsimage {

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::milliseconds;

thread_local bool in_call = false;
thread_local bool limited = false;
thread_local Clock::time_point end_of_call;

}  // namespace

CallPatience::CallPatience() : was_in_call(in_call), was_limited(limited), earlier_end(end_of_call) {
    in_call = true;
    limited = false;
}

CallPatience::~CallPatience() {
    in_call = was_in_call;
    limited = was_limited;
    end_of_call = earlier_end;
}

void note_time_out(Milliseconds time_out) {
    if (!in_call || limited)
        return;
    limited = true;
    end_of_call = Clock::now() + time_out;
}

Milliseconds time_left_for_call() {
    if (!limited)
        return Milliseconds::max();
    return std::max(Milliseconds::zero(), std::chrono::duration_cast<Milliseconds>(end_of_call - Clock::now()));
}

}  // namespace stsimage
