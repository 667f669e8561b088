#include "conformance/explore/deeds.h"

#include <cstring>

#include "stspi/sts_types.h"

namespace conformance {

using model::Call;
using model::Expected;
using model::Operation;
using model::Word;

namespace {

// asked: what the model expects in its place; null for no call. Registers that it does not look at hold what is left over from
// anything, or addresses of the plug-in's own.
model::LibraryCall as_expected(const ImageCall &call, const Observed &observed, bool copies,
                               const model::LibraryCall *asked) {
    model::LibraryCall expected;
    expected.function = call.function;
    const bool is_asked = asked != nullptr && asked->function == call.function;
    const size_t buffer = call.function == "stsimg_read_image" ? 1 : 2;
    for (size_t i = 0; i < call.arguments.size(); ++i) {
        const uint64_t word = call.arguments[i];
        if (copies && i == buffer)
            expected.arguments[i] = {Word::buffer, 0};
        else if (!is_asked || asked->arguments[i].kind == Word::any)
            continue;
        else if (word != 0 && word == observed.definition)
            expected.arguments[i] = {Word::definition, 0};
        else if (word != 0 && word == observed.out)
            expected.arguments[i] = {Word::out, 0};
        else
            expected.arguments[i] = {Word::number, word};
    }
    expected.names_lsu = is_asked ? asked->names_lsu : !call.lsu_text.empty() || !call.server_name.empty();
    expected.lsu_text = call.lsu_text;
    expected.server_name = call.server_name;
    return expected;
}

void move_table(std::string &record, const TablePlaces &own, const TablePlaces &others) {
    constexpr size_t place = offsetof(sts_registration_t, entry_points);
    static_assert(place == offsetof(sts_registration2_t, entry_points));
    const void *table = nullptr;
    if (record.size() < place + sizeof table)
        return;
    std::memcpy(&table, &record[place], sizeof table);
    if (table == own.first)
        table = others.first;
    else if (table == own.second)
        table = others.second;
    std::memcpy(&record[place], &table, sizeof table);
}

}  // namespace

Expected as_expected(const Call &call, const Observed &observed, const Expected &asked, const TablePlaces &own,
                     const TablePlaces &others) {
    Expected expected;
    expected.status = observed.status;
    if (call.operation == Operation::copy_extent) {
        if (observed.stored)
            expected.count = observed.count;
    } else if (observed.stored) {
        expected.stored = model::Stored::handle;
    }
    expected.messages = observed.messages;
    expected.output = observed.output;
    const bool copies = call.operation == Operation::copy_extent || call.operation == Operation::include_in_image;
    expected.library.reserve(observed.library.size());
    for (size_t i = 0; i < observed.library.size(); ++i)
        expected.library.push_back(
            as_expected(observed.library[i], observed, copies, i < asked.library.size() ? &asked.library[i] : nullptr));
    expected.record = observed.record;
    expected.sizes_of = asked.sizes_of;
    if (call.operation == Operation::init || call.operation == Operation::init2)
        move_table(expected.record, own, others);
    return expected;
}

}  // namespace conformance
