// The calls of a journal one after the other, each as one JSON value in which nothing differs between two runs of the
// same calls: handles are named in the order in which their thread meets them, masks are applied.
#pragma once

#include <deque>
#include <map>
#include <tuple>
#include <vector>

#include "journal/calls/mask.h"
#include "journal/events.h"

struct ThreadNumber {
    unsigned process = 0;
    unsigned thread = 0;

    bool operator<(const ThreadNumber &other) const {
        return std::tie(process, thread) < std::tie(other.process, other.thread);
    }
};

struct RecordedCall {  // NOLINT(bugprone-exception-escape): moving JSON throws nothing
    ThreadNumber thread;
    uint64_t call = 0;
    std::string entry_point;
    Json json;  // arguments, status ("running" for a call that was not left), results, log, output, faults
};

class CallStream {
public:
    CallStream(journal::Events &events, std::vector<Mask> &masks) : events_(events), masks_(masks) {}

    // In the order in which calls were left; those that were not come last. False at the end.
    bool next(RecordedCall &call);

private:
    struct Thread {
        std::map<std::pair<journal::HandleKind, std::string>, std::string> names;
        std::map<std::pair<journal::HandleKind, bool>, unsigned> named;
        std::map<uint64_t, RecordedCall> open;
        std::vector<RecordedCall> row;  // calls of one entry point whose values are to be put in order
    };

    void take(const journal::Event &event);
    void note(RecordedCall &call, const journal::Event &event) const;
    void finish(Thread &thread, RecordedCall &&call);
    void end_row(Thread &thread);
    Json values(const journal::Event &event, Thread &thread);

    journal::Events &events_;
    std::vector<Mask> &masks_;
    std::map<ThreadNumber, Thread> threads_;
    std::deque<RecordedCall> ready_;
    bool at_end_ = false;
};
