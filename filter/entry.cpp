#include "filter/entry.h"

#include <pthread.h>

#include <atomic>

#include "filter/filter.h"

namespace filter {

namespace {

// Null before this library is initialised and after it is finished: calls are refused then.
std::atomic<Filter *> the_filter{nullptr};

// A destructor of the plug-in may fork while the filter ends.
void before_fork() {
    if (Filter *filter = the_filter)
        filter->before_fork();
}

void after_fork_in_parent() {
    if (Filter *filter = the_filter)
        filter->after_fork_in_parent();
}

void after_fork_in_child() {
    if (Filter *filter = the_filter)
        filter->after_fork_in_child();
}

__attribute__((constructor)) void begin() {
    the_filter = new Filter;
    // Taken back by the C library when this library is unloaded.
    pthread_atfork(before_fork, after_fork_in_parent, after_fork_in_child);
}

__attribute__((destructor)) void end() {
    // At the end of a process other threads may be in the middle of a call: what they use stays.
    if (const Filter *filter = the_filter.exchange(nullptr); !filter->is_busy())
        delete filter;
}

}  // namespace
}  // namespace filter

filter::AnyFunction filter_targets[filter::function_count];
filter::AnyFunction filter_next[filter::function_count];

filter::Outcome filter_dispatch(filter::CallFrame *frame) {
    filter::Filter *filter = filter::the_filter;
    return filter == nullptr ? filter::Outcome{STS_E_INTERNAL, 1} : filter->dispatch(*frame);
}

int filter_is_time_to_look() {
    const filter::Filter *filter = filter::the_filter;
    return filter == nullptr || filter->is_time_to_look() ? 1 : 0;
}
