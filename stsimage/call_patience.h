// How long a call still waits for an engine that does not answer.
//
// What is asked of an engine has a time-out each, and a call asks several things, one after the other. Once one of them was not
// answered in its time, all that the call still asks, to learn what came of it and to leave nothing behind, has as long again
// together. So a call that nothing answers ends after two time-outs.
#pragma once

#include <chrono>

namespace stsimage {

// Of one thread. The image library has it (engine.h).
struct CallState {
    bool in_call = false;
    bool limited = false;
    std::chrono::steady_clock::time_point end;
};

CallState &call_state();

// What the calling thread does as long as this lives is one call, with a patience of its own. Threads that do none have no limit.
// Within a call it is for what may take its time or fail without anything to do with the rest, clearing away say.
class CallPatience {
public:
    CallPatience();
    CallPatience(const CallPatience &) = delete;
    CallPatience &operator=(const CallPatience &) = delete;
    ~CallPatience();

private:
    const CallState earlier;
};

// Something that the calling thread's call has asked was not answered in this time. Only the first time matters.
void note_time_out(std::chrono::milliseconds time_out);

// What the call may still wait for. Zero when nothing is to be asked any more; without limit it is more than any time-out.
std::chrono::milliseconds time_left_for_call();

// Whether something was not answered.
bool is_call_limited();

}  // namespace stsimage
