#include "simhost/journal/chrome_trace.h"

#include <fmt/format.h>

#include <map>
#include <tuple>

#include "journal/about.h"
#include "journal/calls/call_json.h"
#include "journal/calls/status_name.h"

using namespace journal;

namespace {

double microseconds(uint64_t nanoseconds) { return static_cast<double>(nanoseconds) / 1000.0; }

class Trace {
public:
    Trace(Events &events, const std::function<void(const std::string &)> &write) : events_(events), write_(write) {}

    void add(const Event &event) {
        const RecordHead &head = event.record.head;
        const char *name = event.called != nullptr ? event.called->name : "unknown";
        switch (head.kind) {
            case RecordKind::process:
                slice(head, "process_name", "M", {{"name", program_of(event)}});
                break;
            case RecordKind::enter:
                entered_[key_of(event)] = {head, values(event)};
                break;
            case RecordKind::leave:
                leave(event, name);
                break;
            case RecordKind::log:
                mark(event, "log", "message");
                break;
            case RecordKind::output:
                mark(event, "output", "text");
                break;
            case RecordKind::fault:
                mark(event, "fault", "effect");
                break;
            case RecordKind::rules:
                mark(event, "rules", "text");
                break;
        }
    }

    void finish() {
        for (const RunningCall &call : events_.running()) {
            const auto found = entered_.find({call.process, call.thread, call.call});
            const EntryPoint *called = entry_point(call.entry_point);
            if (found != entered_.end())
                slice(found->second.head, called != nullptr ? called->name : "unknown", "B", found->second.arguments);
        }
    }

private:
    using Key = std::tuple<unsigned, unsigned, uint64_t>;
    struct Entered {  // NOLINT(bugprone-exception-escape): moving JSON throws nothing
        RecordHead head;
        Json arguments;
    };

    static Key key_of(const Event &event) { return {event.process, event.thread, event.call}; }

    static Json program_of(const Event &event) {
        const std::string program = read_about(event.record.items).program;
        return text_json(program.substr(program.rfind('/') + 1));
    }

    Json values(const Event &event) {
        return call_json(event,
                         [&](HandleKind kind, uint64_t value) { return to_string(events_.name(event, kind, value)); })
            .values;
    }

    void leave(const Event &event, const char *name) {
        const auto found = entered_.find(key_of(event));
        if (!event.entered || found == entered_.end())
            return;
        Json arguments = found->second.arguments;
        arguments["status"] = describe_status(event.record.head.status);
        arguments.update(values(event));
        Json json = base(found->second.head, name, "X");
        json["dur"] = microseconds(event.duration_ns);
        json["args"] = arguments;
        put(json);
        entered_.erase(found);
    }

    void mark(const Event &event, const char *name, const char *key) {
        ItemCursor items(event.record.items);
        ItemView item;
        Json json = base(event.record.head, name, "i");
        json["s"] = "t";
        json["args"] = {{key, text_json(items.next(item) ? item.bytes : std::string_view())}};
        if (event.kind() == RecordKind::fault)
            json["args"]["line"] = event.record.head.status;
        put(json);
    }

    void slice(const RecordHead &head, const char *name, const char *phase, const Json &arguments) {
        Json json = base(head, name, phase);
        json["args"] = arguments;
        put(json);
    }

    static Json base(const RecordHead &head, const char *name, const char *phase) {
        return {{"name", name},    {"cat", "stspi"}, {"ph", phase}, {"ts", microseconds(head.monotonic_ns)},
                {"pid", head.pid}, {"tid", head.tid}};
    }

    void put(const Json &json) {
        write_((first_ ? "" : ",\n") + json.dump(-1, ' ', false, Json::error_handler_t::replace));
        first_ = false;
    }

    Events &events_;
    const std::function<void(const std::string &)> &write_;
    std::map<Key, Entered> entered_;
    bool first_ = true;
};

}  // namespace

void write_chrome_trace(Events &events, const std::function<void(const std::string &)> &write) {
    write("{\"displayTimeUnit\": \"ns\", \"traceEvents\": [\n");
    Trace trace(events, write);
    for (Event event; events.next(event);)
        trace.add(event);
    trace.finish();
    write("\n]}\n");
}
