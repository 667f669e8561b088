#include "journal/events.h"

#include <algorithm>

namespace journal {

unsigned Events::process_number(uint32_t pid) {
    return processes_.try_emplace(pid, static_cast<unsigned>(processes_.size() + 1)).first->second;
}

Events::Thread &Events::thread_of(const RecordHead &head) {
    const auto key = std::make_pair(head.pid, head.tid);
    const auto found = threads_.find(key);
    if (found != threads_.end())
        return found->second;
    const unsigned process = process_number(head.pid);
    return threads_.emplace(key, Thread{process, ++thread_counts_[process]}).first->second;
}

bool Events::next(Event &event) {
    event = {};
    if (!reader_.next(event.record))
        return false;
    const RecordHead &head = event.record.head;
    if (head.kind == RecordKind::process && (head.flags & RECORD_FORKED) != 0 && processes_.count(head.pid) == 0) {
        event.parent = process_number(static_cast<uint32_t>(head.status));
        handles_.fork(event.parent, process_number(head.pid));
    }
    Thread &thread = thread_of(head);
    event.process = thread.process;
    event.thread = thread.number;
    if (head.kind == RecordKind::enter) {
        enter(event.record, event, thread);
    } else if (head.kind == RecordKind::leave) {
        leave(event.record, event, thread);
    } else if (const auto found = running_.find(head.call); found != running_.end()) {
        event.call = found->second.call;
        event.called = entry_point(found->second.entry_point);
        event.entered = true;
    }
    return true;
}

void Events::enter(const RecordView &record, Event &event, Thread &thread) {
    event.called = entry_point(record.head.entry_point);
    event.call = ++thread.calls;
    event.entered = true;
    RunningCall call = {event.process, event.thread, event.call, record.head.entry_point, record.head.monotonic_ns};
    ItemCursor items(record.items);
    for (ItemView item; items.next(item);)
        if (item.head.type == ItemType::address && item.has(ITEM_BEFORE) && item.whole_argument())
            call.before = item.word();
    running_[record.place] = call;
}

void Events::leave(const RecordView &record, Event &event, Thread &thread) {
    const auto found = running_.find(record.head.call);
    event.called = entry_point(record.head.entry_point);
    uint64_t before = 0;
    if (found == running_.end()) {
        event.call = ++thread.calls;
    } else {
        event.entered = true;
        event.call = found->second.call;
        event.duration_ns = record.head.monotonic_ns - std::min(found->second.monotonic_ns, record.head.monotonic_ns);
        before = found->second.before;
        running_.erase(found);
    }
    if (event.called != nullptr)
        store_handles(record, *event.called, event.process, before);
}

// A call that fails may store a handle or leave the caller's variable as it was.
void Events::store_handles(const RecordView &record, const EntryPoint &called, unsigned process, uint64_t before) {
    ItemCursor items(record.items);
    for (ItemView item; items.next(item);) {
        if (item.head.type != ItemType::handle || !item.whole_argument() || item.head.argument >= called.argument_count)
            continue;
        const Argument &argument = called.arguments[item.head.argument];
        const uint64_t value = item.word();
        if (argument.kind == ArgumentKind::out_handle && value != 0 && (record.head.status == 0 || value != before))
            handles_.store(process, argument.handle, value);
    }
}

std::vector<RunningCall> Events::running() const {
    std::vector<std::pair<uint64_t, RunningCall>> calls(running_.begin(), running_.end());
    std::sort(calls.begin(), calls.end(), [](const auto &a, const auto &b) { return a.first < b.first; });
    std::vector<RunningCall> result;
    result.reserve(calls.size());
    for (const auto &[place, call] : calls)
        result.push_back(call);
    return result;
}

}  // namespace journal
