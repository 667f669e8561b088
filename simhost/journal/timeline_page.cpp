#include "simhost/journal/timeline_page.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>

#include "base/entities.h"
#include "base/escaped_text.h"
#include "journal/calls/call_json.h"
#include "journal/calls/status_name.h"
#include "simhost/journal/call_text.h"
#include "simhost/journal/timeline_style.h"

using namespace journal;

namespace {

constexpr size_t MOST_CALLS = 100000;
constexpr size_t LONGEST_DETAIL = 300;

double page_time(uint64_t nanoseconds) { return static_cast<double>(nanoseconds) / 1000.0; }

// Texts that come again and again, as numbers.
class Names {
public:
    size_t number(const std::string &name) {
        const auto [place, is_new] = numbers_.try_emplace(name, numbers_.size());
        if (is_new)
            list_.push_back(name);
        return place->second;
    }
    const Json &list() const { return list_; }

private:
    std::map<std::string, size_t> numbers_;
    Json list_ = Json::array();
};

struct Row {
    Json calls = Json::array();
    Json marks = Json::array();
    std::map<uint64_t, size_t> open;  // number of the call: index in calls
    size_t depth = 1;
};

class Timeline {
public:
    explicit Timeline(Events &events) : events_(events) {}

    void add(const Event &event) {
        const RecordHead &head = event.record.head;
        if (start_ == 0 && head.kind == RecordKind::enter)
            start_ = head.monotonic_ns;
        end_ = std::max(end_, head.monotonic_ns);
        Row &row = rows_[{event.process, event.thread}];
        if (head.kind == RecordKind::enter)
            enter(row, event);
        const auto open = row.open.find(event.call);
        if (open == row.open.end())
            return;
        if (head.kind == RecordKind::leave)
            leave(row, event, open->second);
        else if (head.kind == RecordKind::fault)
            row.marks.push_back({since(head.monotonic_ns), open->second, head.status, first_text(event)});
    }

    size_t drawn() const { return drawn_; }
    size_t left_out() const { return left_out_; }

    Json json() const {
        Json rows = Json::array();
        for (const auto &[thread, row] : rows_)
            if (!row.calls.empty())
                rows.push_back({{"label", fmt::format("process {}, thread {}", thread.first, thread.second)},
                                {"depth", row.depth},
                                {"calls", row.calls},
                                {"marks", row.marks}});
        return {{"end", since(end_)}, {"names", names_.list()}, {"statuses", statuses_.list()}, {"rows", rows}};
    }

private:
    double since(uint64_t time) const { return page_time(time - std::min(start_, time)); }

    void enter(Row &row, const Event &event) {
        if (drawn_ == MOST_CALLS) {
            ++left_out_;
            return;
        }
        ++drawn_;
        const size_t depth = row.open.size();
        row.depth = std::max(row.depth, depth + 1);
        row.open[event.call] = row.calls.size();
        const std::string name = event.called != nullptr ? event.called->name : "unknown";
        row.calls.push_back({since(event.record.head.monotonic_ns), -1, names_.number(name),
                             statuses_.number("no answer"), depth,
                             values_text(event, events_).substr(0, LONGEST_DETAIL)});
    }

    void leave(Row &row, const Event &event, size_t index) {
        Json &call = row.calls[index];
        call[1] = page_time(event.duration_ns);
        call[3] = statuses_.number(describe_status(event.record.head.status));
        const std::string results = values_text(event, events_).substr(0, LONGEST_DETAIL);
        if (!results.empty())
            call[5] = call[5].get<std::string>() + "\n-> " + results;
        row.open.erase(event.call);
    }

    static std::string first_text(const Event &event) {
        ItemCursor items(event.record.items);
        ItemView item;
        return printable(std::string(items.next(item) ? item.bytes : std::string_view()));
    }

    Events &events_;
    std::map<std::pair<unsigned, unsigned>, Row> rows_;
    Names names_;
    Names statuses_;
    uint64_t start_ = 0;
    uint64_t end_ = 0;
    size_t drawn_ = 0;
    size_t left_out_ = 0;
};

// JSON that may stand inside a script element.
std::string embedded(const Json &json) {
    std::string text;
    for (const char character : json.dump(-1, ' ', true, Json::error_handler_t::replace))
        if (character == '<')
            text += "\\u003c";
        else
            text += character;
    return text;
}

}  // namespace

std::string timeline_page(Events &events, const std::string &name) {
    Timeline timeline(events);
    for (Event event; events.next(event);)
        timeline.add(event);
    const std::string notice =
        timeline.left_out() == 0
            ? ""
            : fmt::format("<p class=\"notice\">The first {} calls are drawn; {} more are in the journal.</p>\n",
                          timeline.drawn(), timeline.left_out());
    return fmt::format(
        "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
        "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src 'unsafe-inline'; "
        "script-src 'unsafe-inline'\">\n"
        "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
        "<title>{0}</title>\n<style>{1}</style>\n</head>\n<body>\n<main>\n<h1>{0}</h1>\n"
        "<p class=\"soft\">{2} calls. Drag to move, turn the wheel to zoom; with the keyboard: arrows, +, - and "
        "0.</p>\n"
        "{3}<div class=\"bar\">"
        "<span class=\"key\" style=\"--colour: var(--good)\">success</span>"
        "<span class=\"key\" style=\"--colour: var(--bad)\">another status</span>"
        "<span class=\"key\" style=\"--colour: var(--running)\">was running</span>"
        "<span class=\"key fault\">fault</span>"
        "<button id=\"in\" type=\"button\">zoom in</button><button id=\"out\" type=\"button\">zoom out</button>"
        "<button id=\"all\" type=\"button\">all</button>"
        "<input id=\"search\" type=\"search\" placeholder=\"entry point\" aria-label=\"Show entry points whose name "
        "holds this\"></div>\n"
        "<div class=\"view\"><canvas id=\"calls\" tabindex=\"0\" role=\"img\" aria-label=\"Calls of each thread over "
        "time\"></canvas></div>\n<p id=\"told\" aria-live=\"polite\">Point at a call.</p>\n"
        "<section id=\"fault-part\" hidden><h2>Faults</h2>\n<div class=\"wide\"><table><thead><tr><th>at</th>"
        "<th>thread</th><th>entry point</th><th>rule of line</th><th>effect</th></tr></thead>"
        "<tbody id=\"faults\"></tbody></table></div></section>\n"
        "<section><h2>Longest calls</h2>\n<div class=\"wide\"><table><thead><tr><th>took</th><th>at</th><th>thread</th>"
        "<th>entry point</th><th>status</th><th>arguments</th></tr></thead><tbody id=\"slow\"></tbody></table></div>"
        "</section>\n</main>\n<script id=\"data\" type=\"application/json\">{4}</script>\n<script>{5}</script>\n"
        "</body>\n</html>\n",
        with_entities(printable(name)), timeline_style, timeline.drawn(), notice, embedded(timeline.json()),
        timeline_script);
}
