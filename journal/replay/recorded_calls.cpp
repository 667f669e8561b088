#include "journal/replay/recorded_calls.h"

#include <algorithm>
#include <map>
#include <tuple>

#include "journal/about.h"
#include "journal/events.h"
#include "journal/items.h"
#include "journal/reader.h"

using namespace journal;

namespace {

std::vector<RecordedItem> items_of(std::string_view bytes) {
    std::vector<RecordedItem> items;
    ItemCursor cursor(bytes);
    for (ItemView item; cursor.next(item);)
        items.push_back({item.head, std::string(item.bytes)});
    return items;
}

uint64_t word_of(const RecordedItem &item) { return ItemView{item.head, item.bytes}.word(); }

}  // namespace

uint64_t RecordedStep::stored_handle() const {
    const EntryPoint *called = journal::entry_point(entry_point);
    for (const RecordedItem &item : results)
        if (item.head.type == ItemType::handle && item.head.argument < called->argument_count &&
            called->arguments[item.head.argument].kind == ArgumentKind::out_handle)
            return word_of(item);
    return 0;
}

std::vector<uint64_t> RecordedStep::used_handles() const {
    std::vector<uint64_t> handles;
    for (const RecordedItem &item : arguments)
        if (item.head.type == ItemType::handle && (item.head.flags & ITEM_BEFORE) == 0 && word_of(item) != 0)
            handles.push_back(word_of(item));
    return handles;
}

bool RecordedSession::lacks_data() const {
    return std::any_of(steps.begin(), steps.end(), [](const RecordedStep &step) {
        return std::any_of(step.arguments.begin(), step.arguments.end(), [](const RecordedItem &item) {
            return item.head.type == ItemType::data && item.head.field == NO_FIELD &&
                   (item.head.flags & ITEM_SAVED) == 0;
        });
    });
}

RecordedSession read_recorded_calls(const std::string &path, uint64_t &left_out) {
    Reader reader(path);
    Events events(reader);
    RecordedSession session;
    session.data_directory = path + ".data";
    left_out = 0;
    uint64_t left = 0;
    std::map<std::tuple<unsigned, unsigned, uint64_t>, size_t> open;
    for (Event event; events.next(event);) {
        const RecordHead &head = event.record.head;
        const auto key = std::make_tuple(event.process, event.thread, event.call);
        session.processes = std::max(session.processes, event.process);
        if (head.kind == RecordKind::enter && event.called != nullptr) {
            if ((head.flags & RECORD_CUT) != 0) {
                ++left_out;
                continue;
            }
            open[key] = session.steps.size();
            RecordedStep &step = session.steps.emplace_back();
            step.process = event.process;
            step.thread = event.thread;
            step.entry_point = head.entry_point;
            step.entered_ns = head.monotonic_ns;
            step.left_before = left;
            step.arguments = items_of(event.record.items);
        } else if (head.kind == RecordKind::leave) {
            const auto found = open.find(key);
            if (found == open.end()) {
                ++left_out;
                continue;
            }
            RecordedStep &step = session.steps[found->second];
            step.left_as = ++left;
            step.status = head.status;
            step.results = items_of(event.record.items);
            open.erase(found);
        }
    }
    return session;
}
