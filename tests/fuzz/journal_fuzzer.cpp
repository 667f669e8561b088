// Any bytes, read as a journal in every way that simhost reads one: no crash, no hang, nothing beyond the bytes.
//
// The first byte chooses. Even: what follows is the record area of a journal as it is. Odd: what follows are the contents
// of records, which get marks, lengths and checks that fit, so that the inner readers meet them too.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>

#include "journal/calls/call_stream.h"
#include "journal/reader.h"
#include "simhost/journal/call_text.h"
#include "simhost/journal/chrome_trace.h"
#include "simhost/journal/event_json.h"
#include "simhost/journal/journal_stats.h"
#include "simhost/journal/mask_file.h"
#include "simhost/journal/timeline_page.h"

namespace {

using journal::FileHeader;
using journal::RecordHead;

constexpr uint64_t NONCE = 0x1234567890abcdef;
constexpr size_t CONTENT_SIZE = 12;  // kind, flags, entry point, status, how many bytes of items, call

template <typename Value>
void put(std::string &bytes, size_t offset, Value value) {
    bytes.replace(offset, sizeof value, reinterpret_cast<const char *>(&value), sizeof value);
}

// A head in front of a record area.
std::string journal_with(const std::string &area, bool is_ring, uint64_t rounds) {
    std::string bytes(journal::HEADER_SIZE, '\0');
    bytes.replace(0, sizeof journal::FILE_MAGIC, journal::FILE_MAGIC, sizeof journal::FILE_MAGIC);
    put(bytes, offsetof(FileHeader, version), uint32_t{journal::FORMAT_VERSION});
    put(bytes, offsetof(FileHeader, mode), static_cast<uint32_t>(is_ring ? 1 : 0));
    put(bytes, offsetof(FileHeader, capacity), uint64_t{journal::MIN_CAPACITY});
    put(bytes, offsetof(FileHeader, nonce), NONCE);
    put(bytes, offsetof(FileHeader, cursor), area.size() + (is_ring ? rounds * journal::MIN_CAPACITY : 0));
    put(bytes, offsetof(FileHeader, allocated), uint64_t{journal::MIN_CAPACITY});
    return bytes + area;
}

// Records with the contents that the bytes give, each as a writer would leave it.
std::string records_of(std::string_view contents) {
    std::string area;
    while (contents.size() >= CONTENT_SIZE && area.size() < journal::MIN_CAPACITY - 1024) {
        RecordHead head = {};
        uint32_t calls_back = 0;
        head.kind = static_cast<journal::RecordKind>(contents[0]);
        head.flags = static_cast<uint8_t>(contents[1] & 3);
        std::memcpy(&head.entry_point, contents.data() + 2, 2);
        head.entry_point %= journal::ENTRY_POINT_NUMBERS + 1;
        head.status = static_cast<unsigned char>(contents[4]) - 128;  // of either sign
        head.pid = static_cast<uint32_t>(contents[5] & 3);
        head.tid = static_cast<uint32_t>(contents[6] & 3);
        head.monotonic_ns = static_cast<unsigned char>(contents[7]);
        const auto items_size = static_cast<unsigned char>(contents[8]);
        std::memcpy(&calls_back, contents.data() + 9, 3);
        contents.remove_prefix(CONTENT_SIZE);
        const std::string_view items = contents.substr(0, items_size);
        contents.remove_prefix(items.size());
        const uint64_t place = area.size();
        head.call = head.kind == journal::RecordKind::enter ? place : place - std::min<uint64_t>(place, calls_back * 8);
        std::string record(reinterpret_cast<const char *>(&head), sizeof head);
        record += items;
        record.resize(journal::aligned(record.size()));
        constexpr size_t checked_from = offsetof(RecordHead, check) + sizeof head.check;
        put(record, offsetof(RecordHead, mark), journal::mark_of(place, NONCE));
        put(record, offsetof(RecordHead, length), static_cast<uint32_t>(record.size()));
        put(record, offsetof(RecordHead, check),
            journal::check_of(record.data() + checked_from, record.size() - checked_from, place, NONCE));
        area += record;
    }
    return area;
}

template <typename Use>
void read(const std::string &bytes, Use use) {
    journal::Reader reader(journal::memory_source(bytes), "fuzz");
    journal::Events events(reader);
    use(reader, events);
}

void read_all_ways(const std::string &bytes) {
    read(bytes, [](journal::Reader &reader, journal::Events &events) {
        header_json(reader.facts());
        CallText text;
        uint64_t records = 0;
        for (journal::Event event; events.next(event); ++records) {
            if (json_line(event_json(event, events)).find('\n') != std::string::npos)
                std::abort();
            text.line(event, events);
        }
        json_line(ending_json(reader, events, records));
        text.running_lines(events);
    });
    read(bytes, [](journal::Reader &, journal::Events &events) {
        const JournalStats stats = collect_stats(events);
        if (stats.calls > stats.records)
            std::abort();
    });
    read(bytes, [](journal::Reader &, journal::Events &events) {
        std::vector<Mask> masks =
            parse_masks("sort on stspi_list* results.* # x\nround on * *.info.* 3 # x\n", "masks");
        CallStream stream(events, masks);
        for (RecordedCall call; stream.next(call);)
            json_line(call.json);
    });
}

// Slower, and with less to find.
void export_all_ways(const std::string &bytes) {
    read(bytes,
         [](journal::Reader &, journal::Events &events) { write_chrome_trace(events, [](const std::string &) {}); });
    read(bytes, [](journal::Reader &, journal::Events &events) { timeline_page(events, "fuzz"); });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0)
        return 0;
    const std::string input(reinterpret_cast<const char *>(data) + 1, size - 1);
    const bool is_raw = data[0] % 2 == 0;
    const std::string bytes =
        journal_with(is_raw ? input : records_of(input), (data[0] & 2) != 0, is_raw ? data[0] >> 2 : 0);
    read_all_ways(bytes);
    if (std::hash<std::string>()(input) % 64 == 0)
        export_all_ways(bytes);
    // The bytes as a whole file, head and all.
    if (size > sizeof(FileHeader))
        try {
            read_all_ways(std::string(reinterpret_cast<const char *>(data), size));
        } catch (const journal::ReadError &) {
        }
    return 0;
}
