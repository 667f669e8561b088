#include "simhost/journal/call_text.h"

#include <fmt/format.h>

#include <algorithm>

#include "base/escaped_text.h"
#include "journal/about.h"
#include "journal/calls/call_json.h"
#include "journal/calls/status_name.h"
#include "simhost/report/quantities.h"

using namespace journal;

namespace {

constexpr size_t LONGEST_VALUE = 60;

std::string shortened(const std::string &text) {
    return text.size() <= LONGEST_VALUE ? text : text.substr(0, LONGEST_VALUE) + "...";
}

bool is_handle_name(const std::string &text) {
    for (const HandleKind kind :
         {HandleKind::server, HandleKind::lsu_list, HandleKind::image, HandleKind::image_list}) {
        const std::string start = std::string(handle_kind_name(kind)) + "#";
        if (text.rfind(start, 0) == 0 && text.find_first_not_of("?0123456789", start.size()) == std::string::npos)
            return true;
    }
    return false;
}

std::string value_text(const Json &value);

std::string joined_values(const Json &values, bool with_keys) {
    std::string text;
    for (const auto &[key, value] : values.items()) {
        // A null pointer says something only where somebody looks.
        const bool is_looked_at = key.rfind("ignored", 0) != 0 && key != "reserved";
        const std::string one = value.is_null() && !is_looked_at ? "" : value_text(value);
        if (one.empty())
            continue;
        text += text.empty() ? "" : ", ";
        if (with_keys)
            text.append(key).append(" ");
        text += one;
    }
    return text;
}

std::string data_text(const Json &data) {
    std::string text = fmt::format("{} bytes", data["size"].get<uint64_t>());
    if (data.contains("xxh128"))
        text += " xxh128 " + data["xxh128"].get<std::string>();
    return text;
}

// Texts in quotes, records in braces, handles bare; "" for a pointer.
std::string value_text(const Json &value) {
    if (value.is_string()) {
        auto text = value.get<std::string>();
        if (text == "pointer")
            return "";
        if (is_handle_name(text))
            return text;
        return in_quotes(text.substr(0, LONGEST_VALUE)) + (text.size() > LONGEST_VALUE ? "..." : "");
    }
    if (value.is_object() && value.contains("cut"))
        return value_text(value["cut"]) + (value.contains("size") ? " of " + data_text(value) : "");
    if (value.is_object() && value.contains("hex"))
        return "hex " + shortened(value["hex"].get<std::string>());
    if (value.is_object() && value.contains("size"))
        return data_text(value);
    if (value.is_object())
        return "{" + joined_values(value, false) + "}";
    if (value.is_array())
        return value.size() > 8 ? fmt::format("[{} values]", value.size()) : "[" + joined_values(value, false) + "]";
    return value.dump();
}

std::string first_text(const Event &event) {
    ItemCursor items(event.record.items);
    ItemView item;
    std::string text(items.next(item) ? item.bytes : std::string_view());
    while (!text.empty() && text.back() == '\n')
        text.pop_back();
    return printable(text);
}

}  // namespace

std::string values_text(const Event &event, Events &events) {
    const CallJson call =
        call_json(event, [&](HandleKind kind, uint64_t value) { return to_string(events.name(event, kind, value)); });
    return joined_values(call.values, true);
}

std::string CallText::opening(const RecordHead &head, unsigned process, unsigned thread) {
    if (start_ns_ == 0)
        start_ns_ = head.monotonic_ns;
    const uint64_t since = head.monotonic_ns - std::min(start_ns_, head.monotonic_ns);
    return fmt::format("{:>12.6f} {}.{} ", static_cast<double>(since) / 1e9, process, thread);
}

std::string CallText::line(const Event &event, Events &events) {
    const RecordHead &head = event.record.head;
    const std::string start = opening(head, event.process, event.thread);
    const char *name = event.called != nullptr ? event.called->name : "unknown";
    const CallKey key = {event.process, event.thread, event.call};
    switch (head.kind) {
        case RecordKind::process:
            return start + (event.parent != 0 ? fmt::format("process {}, born of {}\n", event.process, event.parent)
                                              : fmt::format("process {} ({})\n", event.process,
                                                            printable(read_about(event.record.items).program)));
        case RecordKind::enter:
            arguments_[key] = values_text(event, events);
            return "";
        case RecordKind::leave: {
            const auto entered = arguments_.find(key);
            const std::string results = values_text(event, events);
            std::string line = fmt::format(
                "{}{}({}) = {}{}{}\n", start, name,
                event.entered && entered != arguments_.end() ? entered->second : "?", describe_status(head.status),
                event.entered ? " " + format_duration(static_cast<double>(event.duration_ns) / 1e9) : "",
                results.empty() ? "" : "  -> " + results);
            if (entered != arguments_.end())
                arguments_.erase(entered);
            return line;
        }
        case RecordKind::log:
            return fmt::format("{}  log {}: {}\n", start, head.status, first_text(event));
        case RecordKind::output:
            return fmt::format("{}  output: {}\n", start, first_text(event));
        case RecordKind::fault:
            return fmt::format("{}  fault of line {}: {}\n", start, head.status, first_text(event));
        case RecordKind::rules:
            return start + "the rules have changed\n";
    }
    return start + "a record of a kind that is not known\n";
}

std::vector<std::string> CallText::running_lines(const Events &events) const {
    std::vector<std::string> lines;
    for (const RunningCall &call : events.running()) {
        const auto entered = arguments_.find({call.process, call.thread, call.call});
        const EntryPoint *called = entry_point(call.entry_point);
        lines.push_back(fmt::format("{:>12} {}.{} {}({}) was running", "", call.process, call.thread,
                                    called != nullptr ? called->name : "unknown",
                                    entered != arguments_.end() ? entered->second : "?"));
    }
    return lines;
}
