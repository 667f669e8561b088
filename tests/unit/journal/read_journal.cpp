#include "read_journal.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>

using namespace journal;

WriterOptions growing(const std::string &path, uint64_t limit) {
    WriterOptions options;
    options.path = path;
    options.limit = limit;
    options.mode = Mode::growing;
    return options;
}

WriterOptions ring(const std::string &path, uint64_t limit) {
    WriterOptions options = growing(path, limit);
    options.mode = Mode::ring;
    return options;
}

std::unique_ptr<Writer> open_writer(const WriterOptions &options, const Origin &origin) {
    std::string error;
    int number = 0;
    std::unique_ptr<Writer> writer = Writer::open(options, origin, error, number);
    if (!writer) {
        std::fprintf(stderr, "%s\n", error.c_str());
        std::abort();
    }
    return writer;
}

void record_call(Writer &writer, int32_t number, int32_t status) {
    const uint64_t arguments[] = {0, static_cast<uint32_t>(number)};
    const CallNumber call = writer.enter(first_table_entry(STS_SLOT_IOCTL), arguments);
    writer.leave(call, first_table_entry(STS_SLOT_IOCTL), arguments, status);
}

std::vector<ReadRecord> ReadJournal::of_kind(RecordKind kind) const {
    std::vector<ReadRecord> found;
    for (const ReadRecord &record : records)
        if (record.head.kind == kind)
            found.push_back(record);
    return found;
}

namespace {

ReadJournal read_all(Reader reader) {
    ReadJournal result;
    result.facts = reader.facts();
    Events events(reader);
    for (Event event; events.next(event);)
        result.records.push_back({event.record.head, event.record.place, std::string(event.record.items), event.process,
                                  event.thread, event.call, event.entered});
    result.running = events.running();
    result.damage = reader.damage();
    return result;
}

}  // namespace

ReadJournal read_journal(const std::string &path) { return read_all(Reader(path)); }

ReadJournal read_bytes(const std::string &bytes) { return read_all(Reader(memory_source(bytes), "bytes")); }

ItemView item_of(const ReadRecord &record, unsigned argument, unsigned field) {
    ItemCursor items(record.items);
    for (ItemView item; items.next(item);)
        if (item.head.argument == argument && item.head.field == field)
            return item;
    return {};
}

int32_t call_number(const ReadRecord &record) { return static_cast<int32_t>(item_of(record, 1).word()); }

std::string file_bytes(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void write_file(const std::string &path, const std::string &bytes) { std::ofstream(path, std::ios::binary) << bytes; }
