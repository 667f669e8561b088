#include "simhost/journal/event_json.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include "journal/about.h"
#include "journal/calls/call_json.h"
#include "journal/calls/status_name.h"

using namespace journal;

namespace {

std::string time_text(uint64_t wall_ns) {
    const auto seconds = static_cast<time_t>(wall_ns / 1000000000 % (uint64_t{1} << 33));
    return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z", fmt::gmtime(seconds), wall_ns / 1000000 % 1000);
}

void add_text(Json &json, const char *key, const std::string &text) {
    if (!text.empty())
        json[key] = text_json(text);
}

// Of the head and of a process alike.
void add_about(Json &json, const AboutFacts &facts) {
    add_text(json, "writer", facts.writer);
    if (facts.interface_version != 0)
        json["interface_version"] = facts.interface_version;
    add_text(json, "plugin", facts.plugin);
    add_text(json, "plugin_xxh128", facts.plugin_hash);
    json["seed"] = facts.seed;
}

Json volatile_json(const RecordHead &head) {
    return {
        {"monotonic_ns", head.monotonic_ns}, {"time", time_text(head.wall_ns)}, {"pid", head.pid}, {"tid", head.tid}};
}

const char *event_word(RecordKind kind) {
    switch (kind) {
        case RecordKind::process:
            return "process";
        case RecordKind::enter:
            return "enter";
        case RecordKind::leave:
            return "leave";
        case RecordKind::log:
            return "log";
        case RecordKind::output:
            return "output";
        case RecordKind::fault:
            return "fault";
        case RecordKind::rules:
            return "rules";
    }
    return "unknown";
}

Json first_text_json(const Event &event) {
    ItemCursor items(event.record.items);
    ItemView item;
    return text_json(items.next(item) ? item.bytes : std::string_view());
}

void add_call(Json &json, Json &changing, const Event &event, Events &events, const char *key) {
    const CallJson call =
        call_json(event, [&](HandleKind kind, uint64_t value) { return to_string(events.name(event, kind, value)); });
    json[key] = call.values;
    if ((event.record.head.flags & RECORD_CUT) != 0)
        json["cut"] = true;
    if (!call.addresses.empty())
        changing["addresses"] = call.addresses;
}

void add_particulars(Json &json, Json &changing, const Event &event, Events &events) {
    const RecordHead &head = event.record.head;
    switch (head.kind) {
        case RecordKind::process: {
            const AboutFacts facts = read_about(event.record.items);
            if (event.parent != 0)
                json["parent"] = event.parent;
            add_about(json, facts);
            add_text(changing, "program", facts.program);
            break;
        }
        case RecordKind::enter:
            add_call(json, changing, event, events, "arguments");
            break;
        case RecordKind::leave:
            json["status"] = head.status;
            json["status_name"] = status_name(head.status);
            add_call(json, changing, event, events, "results");
            if (event.entered)
                changing["duration_ns"] = event.duration_ns;
            break;
        case RecordKind::log:
            json["level"] = head.status;
            json["message"] = first_text_json(event);
            break;
        case RecordKind::fault:
            json["line"] = head.status;
            json["effect"] = first_text_json(event);
            break;
        case RecordKind::output:
        case RecordKind::rules:
            json["text"] = first_text_json(event);
            break;
    }
}

}  // namespace

Json header_json(const FileFacts &file) {
    const AboutFacts facts = read_about(file.about);
    Json json = {{"event", "journal"}, {"format", static_cast<uint32_t>(FORMAT_VERSION)}};
    add_about(json, facts);
    json["rules"] = text_json(facts.rules);
    json["mode"] = file.mode == Mode::ring ? "ring" : "growing";
    json["limit_bytes"] = file.capacity;
    Json changing = {{"monotonic_ns", file.monotonic_ns}, {"time", time_text(file.wall_ns)}};
    add_text(changing, "program", facts.program);
    add_text(changing, "data_directory", facts.data_directory);
    json["volatile"] = changing;
    return json;
}

Json event_json(const Event &event, Events &events) {
    Json json = {{"event", event_word(event.kind())}, {"process", event.process}, {"thread", event.thread}};
    if (event.call != 0) {
        json["call"] = event.call;
        json["entry_point"] = event.called != nullptr ? event.called->name : "unknown";
    }
    Json changing = volatile_json(event.record.head);
    add_particulars(json, changing, event, events);
    json["volatile"] = changing;
    return json;
}

Json ending_json(const Reader &reader, const Events &events, uint64_t records) {
    Json running = Json::array();
    for (const RunningCall &call : events.running()) {
        const EntryPoint *called = entry_point(call.entry_point);
        running.push_back({{"process", call.process},
                           {"thread", call.thread},
                           {"call", call.call},
                           {"entry_point", called != nullptr ? called->name : "unknown"}});
    }
    const Damage &damage = reader.damage();
    return {{"event", "end"},
            {"records", records},
            {"running", running},
            {"lost", reader.facts().lost},
            {"torn", damage.torn},
            {"skipped_bytes", damage.skipped_bytes},
            {"overwritten", damage.overwritten},
            {"truncated", damage.truncated}};
}

std::string json_line(const Json &json) { return json.dump(-1, ' ', false, Json::error_handler_t::replace); }
