// The meeting of trampolines.S and the filter.
#pragma once

#include <cstdint>

#include "filter/call_frame.h"
#include "filter/wrapped_plugin.h"

extern "C" {
// In trampolines.S. What the exported functions jump to: filter_targets holds one of the first two for each.
void filter_watched();
void filter_hooked();
int64_t filter_call(const filter::CallFrame *frame, filter::AnyFunction function, uint64_t stack_words);

// Called from there.
filter::Outcome filter_dispatch(filter::CallFrame *frame);
int filter_is_time_to_look();

extern filter::AnyFunction filter_targets[filter::function_count];
extern filter::AnyFunction filter_next[filter::function_count];  // the wrapped plug-in's functions
}
