#include "conformance/explore/comparison.h"

#include <fmt/format.h>
#include <sys/statvfs.h>

#include <cstddef>
#include <cstring>

#include "base/quoted_bytes.h"
#include "conformance/explore/operation_record.h"
#include "conformance/report/hex_diff.h"
#include "conformance/watch/record_fields.h"
#include "stspi/sts_status.h"
#include "stspi/sts_types.h"

namespace conformance {

using model::Call;
using model::Expected;
using model::Operation;
using model::Word;

namespace {

constexpr size_t longest_shown = 300;

std::string status_text(int32_t status) {
    switch (status) {
        case 0:
            return "0";
#define STATUS_NAME(name, number, meaning) \
    case name:                             \
        return #name " (" #number ")";
            STS_STATUS_LIST(STATUS_NAME)
#undef STATUS_NAME
        default:
            return std::to_string(status);
    }
}

std::string messages_text(const std::vector<model::Message> &messages) {
    std::string text;
    for (const model::Message &one : messages)
        text += fmt::format("\n      session {} level {} {}", one.session, one.level,
                            quoted_bytes(one.text, longest_shown));
    return text.empty() ? "none" : text;
}

std::string word_text(const Word &word) {
    switch (word.kind) {
        case Word::number:
            return fmt::format("{:#x}", word.value);
        case Word::number32:
            return fmt::format("{:#x} (32 bits)", word.value);
        case Word::definition:
            return "the image's definition";
        case Word::out:
            return "the place for the result";
        case Word::buffer:
            return "a buffer";
        default:
            return "anything";
    }
}

bool matches(const Word &word, uint64_t got, const Observed &observed) {
    switch (word.kind) {
        case Word::number:
            return got == word.value;
        case Word::number32:
            return static_cast<uint32_t>(got) == word.value;
        case Word::definition:
            return got == observed.definition;
        case Word::out:
            return got == observed.out;
        case Word::buffer:
            return got != 0;
        default:
            return true;
    }
}

std::optional<Difference> library_difference(const Expected &expected, const Observed &observed) {
    for (size_t i = 0; i < expected.library.size() || i < observed.library.size(); ++i) {
        const std::string aspect = fmt::format("call {} of the image library", i + 1);
        if (i >= observed.library.size())
            return Difference{aspect, expected.library[i].function, "none"};
        const ImageCall &got = observed.library[i];
        if (i >= expected.library.size())
            return Difference{aspect, "none", got.function};
        const model::LibraryCall &wanted = expected.library[i];
        if (got.function != wanted.function)
            return Difference{aspect, wanted.function, got.function};
        for (size_t word = 0; word < wanted.arguments.size(); ++word)
            if (!matches(wanted.arguments[word], got.arguments[word], observed))
                return Difference{fmt::format("argument {} of {}", word + 1, got.function),
                                  word_text(wanted.arguments[word]), fmt::format("{:#x}", got.arguments[word])};
        if (!wanted.names_lsu)
            continue;
        if (got.lsu_text != wanted.lsu_text)
            return Difference{"LSU text of " + got.function, quoted_bytes(wanted.lsu_text, longest_shown),
                              quoted_bytes(got.lsu_text, longest_shown)};
        if (got.server_name != wanted.server_name)
            return Difference{"server name of " + got.function, quoted_bytes(wanted.server_name, longest_shown),
                              quoted_bytes(got.server_name, longest_shown)};
    }
    // What was read into must be what is written.
    if (expected.library.size() == 2 && observed.library[0].arguments[1] != observed.library[1].arguments[2])
        return Difference{"buffer of the write", "the buffer of the read", "another"};
    return std::nullopt;
}

void put(std::string &record, size_t offset, uint64_t value) { std::memcpy(&record[offset], &value, sizeof value); }

uint64_t number_at(const std::string &record, size_t offset) {
    uint64_t value = 0;
    std::memcpy(&value, &record[offset], sizeof value);
    return value;
}

// Others use the file system too: what is used may change between the two looks.
bool put_sizes(std::string &record, const std::string &path, const std::string &got) {
    constexpr uint64_t changes = uint64_t{1} << 30;
    struct statvfs sizes;
    if (statvfs(path.c_str(), &sizes) != 0 || got.size() != record.size())
        return false;
    put(record, offsetof(sts_lsu_info_v9_t, block_size_bytes), sizes.f_frsize);
    put(record, offsetof(sts_lsu_info_v9_t, capacity_bytes), sizes.f_frsize * sizes.f_blocks);
    const uint64_t used = (sizes.f_blocks - sizes.f_bavail) * sizes.f_frsize;
    const uint64_t told = number_at(got, offsetof(sts_lsu_info_v9_t, used_bytes));
    const bool is_near = told % sizes.f_frsize == 0 && (told > used ? told - used : used - told) < changes;
    put(record, offsetof(sts_lsu_info_v9_t, used_bytes), is_near ? told : used);
    return true;
}

std::optional<Difference> record_difference(const Call &call, const Expected &expected, const Observed &observed) {
    std::string wanted = expected.record;
    if (wanted.empty() || expected.any_record || observed.record.empty())
        return std::nullopt;
    if (!expected.sizes_of.empty())
        put_sizes(wanted, expected.sizes_of, observed.record);
    if (wanted == observed.record)
        return std::nullopt;
    const std::vector<RecordField> *named = fields_of_record(call.operation);
    const std::string fields = named == nullptr ? "" : differing_fields(*named, wanted.data(), observed.record.data());
    return Difference{"record", "these bytes",
                      "others\n" + (fields.empty() ? "" : fields + "\n") +
                          hex_diff(reinterpret_cast<const unsigned char *>(wanted.data()),
                                   reinterpret_cast<const unsigned char *>(observed.record.data()), wanted.size())};
}

std::string stored_text(model::Stored stored) { return stored == model::Stored::nothing ? "nothing" : "a handle"; }

}  // namespace

std::optional<Difference> difference(const Call &call, const Expected &expected, const Observed &observed) {
    if (!observed.damage.empty())
        return Difference{"memory of the caller", "as before", "changed: " + observed.damage};
    if (!observed.wrong_slot.empty())
        return Difference{"tables", "each slot leads where its name says", observed.wrong_slot};
    if (observed.status != expected.status)
        return Difference{"status", status_text(expected.status), status_text(observed.status)};
    const bool has_count = call.operation == Operation::copy_extent;
    if (has_count) {
        const uint64_t count = expected.count.value_or(UNSTORED);
        if (!call.null_out && observed.count != count)
            return Difference{"count", fmt::format("{:#x}", count), fmt::format("{:#x}", observed.count)};
    } else if ((expected.stored == model::Stored::nothing) == observed.stored.has_value()) {
        return Difference{"stored", stored_text(expected.stored),
                          observed.stored ? fmt::format("{:#x}", *observed.stored) : "nothing"};
    } else if (observed.stored && *observed.stored == 0) {
        return Difference{"stored", stored_text(expected.stored), "a null"};
    }
    if (!expected.any_messages && observed.messages != expected.messages)
        return Difference{"messages", messages_text(expected.messages), messages_text(observed.messages)};
    if (observed.output != expected.output && observed.output != expected.other_output)
        return Difference{"standard output", quoted_bytes(expected.output, longest_shown),
                          quoted_bytes(observed.output, longest_shown)};
    if (auto library = library_difference(expected, observed))
        return library;
    return record_difference(call, expected, observed);
}

}  // namespace conformance
