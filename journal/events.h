// The records of a journal as what happened: in which process and thread, in which call, how long it took, and what each
// handle is called.
#pragma once

#include <cstdint>
#include <map>
#include <unordered_map>
#include <utility>
#include <vector>

#include "journal/handle_names.h"
#include "journal/reader.h"

namespace journal {

struct Event {
    RecordView record;
    unsigned process = 0;                // from 1, in the order of their first records
    unsigned parent = 0;                 // of the record of a process that is born of a fork: the process it comes from
    unsigned thread = 0;                 // from 1 in its process, likewise
    uint64_t call = 0;                   // from 1 in its thread; 0 outside of a call
    bool entered = false;                // the call's entering record is there
    uint64_t duration_ns = 0;            // of a call that was entered and left
    const EntryPoint *called = nullptr;  // null where there is none, or none that is known

    RecordKind kind() const { return record.head.kind; }
};

// A call whose leaving record is missing: it was running when its process died or the journal was cut or read.
struct RunningCall {
    unsigned process;
    unsigned thread;
    uint64_t call;
    EntryPointNumber entry_point;
    uint64_t monotonic_ns;
    uint64_t before = 0;  // what its out-handle held
};

class Events {
public:
    explicit Events(Reader &reader) : reader_(reader) {}

    bool next(Event &event);

    // The name of a handle in the record that was returned last.
    HandleName name(const Event &event, HandleKind kind, uint64_t value) {
        return handles_.name(event.process, kind, value);
    }

    // In the order in which they began. When all has been read: the calls that were running at the end.
    std::vector<RunningCall> running() const;

private:
    struct Thread {
        unsigned process;
        unsigned number;
        uint64_t calls = 0;
    };
    unsigned process_number(uint32_t pid);
    Thread &thread_of(const RecordHead &head);
    void enter(const RecordView &record, Event &event, Thread &thread);
    void leave(const RecordView &record, Event &event, Thread &thread);
    void store_handles(const RecordView &record, const EntryPoint &called, unsigned process, uint64_t before);

    Reader &reader_;
    HandleNames handles_;
    std::map<uint32_t, unsigned> processes_;
    std::map<unsigned, unsigned> thread_counts_;
    std::map<std::pair<uint32_t, uint32_t>, Thread> threads_;
    std::unordered_map<uint64_t, RunningCall> running_;  // by the place of the entering record
};

}  // namespace journal
