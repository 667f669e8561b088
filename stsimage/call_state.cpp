#include "stsimage/call_patience.h"

namespace stsimage {

namespace {

thread_local CallState state_of_thread;

}  // namespace

CallState &call_state() { return state_of_thread; }

}  // namespace stsimage
