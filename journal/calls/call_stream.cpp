#include "journal/calls/call_stream.h"

#include <fmt/format.h>

#include "journal/calls/call_json.h"
#include "journal/calls/status_name.h"

using namespace journal;

bool CallStream::next(RecordedCall &call) {
    Event event;
    while (ready_.empty() && !at_end_)
        if (events_.next(event)) {
            take(event);
        } else {
            at_end_ = true;
            for (auto &[number, thread] : threads_) {
                for (auto &[index, open] : thread.open) {
                    open.json["status"] = "running";
                    finish(thread, std::move(open));
                }
                end_row(thread);
            }
        }
    if (ready_.empty())
        return false;
    call = std::move(ready_.front());
    ready_.pop_front();
    return true;
}

Json CallStream::values(const Event &event, Thread &thread) {
    const auto naming = [&](HandleKind kind, uint64_t value) {
        const HandleName name = events_.name(event, kind, value);
        std::string &local = thread.names[{kind, to_string(name)}];
        if (local.empty())
            local = to_string(HandleName{kind, ++thread.named[{kind, name.foreign}], name.foreign});
        return local;
    };
    return call_json(event, naming).values;
}

void CallStream::take(const Event &event) {
    Thread &thread = threads_[{event.process, event.thread}];
    const RecordHead &head = event.record.head;
    if (head.kind == RecordKind::enter || (head.kind == RecordKind::leave && !event.entered)) {
        RecordedCall &call = thread.open[event.call];
        call.thread = {event.process, event.thread};
        call.call = event.call;
        call.entry_point = event.called != nullptr ? event.called->name : "unknown";
        call.json = {{"entry_point", call.entry_point}};
        if (event.entered)
            call.json["arguments"] = values(event, thread);
    }
    const auto found = thread.open.find(event.call);
    if (event.call == 0 || found == thread.open.end())
        return;
    if (head.kind == RecordKind::leave) {
        found->second.json["status"] = describe_status(head.status);
        found->second.json["results"] = values(event, thread);
        finish(thread, std::move(found->second));
        thread.open.erase(found);
    } else if (head.kind != RecordKind::enter) {
        note(found->second, event);
    }
}

// Something that happened inside the call.
void CallStream::note(RecordedCall &call, const Event &event) const {
    ItemCursor items(event.record.items);
    ItemView item;
    const Json text = text_json(items.next(item) ? item.bytes : std::string_view());
    switch (event.kind()) {
        case RecordKind::log:
            call.json["log"].push_back({{"level", event.record.head.status}, {"message", text}});
            break;
        case RecordKind::output:
            call.json["output"].push_back(text);
            break;
        case RecordKind::fault:
            call.json["faults"].push_back({{"line", event.record.head.status}, {"effect", text}});
            break;
        case RecordKind::process:
        case RecordKind::enter:
        case RecordKind::leave:
        case RecordKind::rules:
            break;
    }
}

void CallStream::finish(Thread &thread, RecordedCall &&call) {
    if (!thread.row.empty() && thread.row.back().entry_point != call.entry_point)
        end_row(thread);
    apply_masks(masks_, call.entry_point, call.json);
    if (sorts_across_calls(masks_, call.entry_point))
        thread.row.push_back(std::move(call));
    else
        ready_.push_back(std::move(call));
}

void CallStream::end_row(Thread &thread) {
    if (thread.row.empty())
        return;
    std::vector<Json *> calls;
    for (RecordedCall &call : thread.row)
        calls.push_back(&call.json);
    sort_across_calls(masks_, thread.row.front().entry_point, calls);
    for (RecordedCall &call : thread.row)
        ready_.push_back(std::move(call));
    thread.row.clear();
}
