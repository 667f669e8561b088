#include "conformance/explore/expectation_text.h"

#include <fmt/format.h>

#include <algorithm>

#include "base/number_field.h"
#include "conformance/explore/operation_record.h"
#include "conformance/watch/record_fields.h"
#include "stspi/sts_status.h"

namespace conformance {

using model::Call;
using model::Expected;
using model::Operation;

namespace {

// All of it where no NUL ends it.
std::string up_to_nul(const std::string &field) { return field.substr(0, field.find('\0')); }

// Text with what stands for places, in quotes and more.
std::string escaped(const std::string &bytes) {
    std::string out;
    for (const char character : bytes) {
        const auto byte = static_cast<unsigned char>(character);
        if (character == '"' || character == '\\')
            out += fmt::format("\\{}", character);
        else if (byte < 0x20 || byte >= 0x7f)
            out += fmt::format("\\{:03o}", byte);
        else
            out += character;
    }
    return out;
}

uint64_t number_at(const std::string &bytes, const RecordField &field) {
    return number_in_field(&bytes[field.offset], field.size);
}

bool is_the_systems(const Call &call, const Expected &expected, const std::string &field) {
    if (call.operation == Operation::init || call.operation == Operation::init2)
        return field == "entry_points";
    return !expected.sizes_of.empty() &&
           (field == "block_size_bytes" || field == "capacity_bytes" || field == "used_bytes");
}

// The record as statements that change what stood there before.
class RecordText {
public:
    RecordText(const Call &call, const Expected &expected)
        : call_(call), expected_(expected), now_(expected.record.size(), static_cast<char>(call.fill)) {}

    std::string text() {
        clear_where_cleared();
        if (call_.operation == Operation::init2)
            leave({"entry_points", 8, 8, FieldKind::number});
        for (const RecordField &field : *fields_of_record(call_.operation))
            put(field);
        put_rest();
        return fmt::format(
            "    record{}.expect_changed(\"record\", [&]([[maybe_unused]] auto &expected) {{\n{}    }});\n", call_.id,
            lines_);
    }

private:
    void clear_where_cleared() {
        const auto zeros = std::count(expected_.record.begin(), expected_.record.end(), '\0');
        if (static_cast<size_t>(zeros) <= expected_.record.size() / 2)
            return;
        lines_ += "        expected = {};\n";
        now_.assign(now_.size(), '\0');
    }

    bool differs(const RecordField &field) const {
        return now_.compare(field.offset, field.size, expected_.record, field.offset, field.size) != 0;
    }

    void leave(const RecordField &field) {
        if (field.offset + field.size > now_.size() || !differs(field))
            return;
        lines_ += fmt::format(
            "        std::memcpy(&expected.{0}, &record{1}->{0}, sizeof expected.{0});  // the system's own\n",
            field.name, call_.id);
        take(field);
    }

    void take(const RecordField &field) {
        now_.replace(field.offset, field.size, expected_.record, field.offset, field.size);
    }

    void put(const RecordField &field) {
        if (is_the_systems(call_, expected_, field.name)) {
            leave(field);
            return;
        }
        if (!differs(field))
            return;
        if (field.kind == FieldKind::number) {
            lines_ += fmt::format("        expected.{} = {:#x};\n", field.name, number_at(expected_.record, field));
            take(field);
        } else if (field.kind == FieldKind::text) {
            const std::string whole = expected_.record.substr(field.offset, field.size);
            const std::string text = up_to_nul(whole);
            if (text.size() == whole.size())
                return;
            lines_ += fmt::format("        put_text(expected.{}, {});\n", field.name, literal(text));
            now_.replace(field.offset, text.size() + 1, whole, 0, text.size() + 1);
        }
    }

    // Bytes that no field explains.
    void put_rest() {
        for (size_t begin = 0; begin < now_.size(); ++begin) {
            if (now_[begin] == expected_.record[begin])
                continue;
            size_t end = begin;
            while (end < now_.size() && now_[end] != expected_.record[end])
                ++end;
            lines_ += fmt::format("        std::memcpy(reinterpret_cast<char *>(&expected) + {}, \"{}\", {});\n", begin,
                                  escaped(expected_.record.substr(begin, end - begin)), end - begin);
            begin = end;
        }
    }

    const Call &call_;
    const Expected &expected_;
    std::string now_;
    std::string lines_;
};

std::string messages_text(const Expected &expected) {
    std::string text;
    for (int session = 0; session < model::SESSIONS; ++session) {
        std::string lines;
        for (const model::Message &one : expected.messages)
            if (one.session == session)
                lines += fmt::format("{}{}({})", lines.empty() ? "" : ", ", one.level == 3 ? "trace" : "unmasked",
                                     literal(one.text));
        text += fmt::format("    session{}.expect_log({{{}}});\n", session, lines);
    }
    return text;
}

std::string library_text(const Expected &expected) {
    std::string text = fmt::format(
        "    const auto library_calls = take_image_calls();\n"
        "    require_true(library_calls.size() == {0}, \"calls of the image library\", \"{0}\", "
        "std::to_string(library_calls.size()));\n",
        expected.library.size());
    for (size_t i = 0; i < expected.library.size(); ++i) {
        const model::LibraryCall &call = expected.library[i];
        text += fmt::format("    expect_text(\"function\", library_calls[{}].function, \"{}\");\n", i, call.function);
        if (call.names_lsu)
            text += fmt::format(
                "    expect_text(\"LSU text\", library_calls[{0}].lsu_text, {1});\n"
                "    expect_text(\"server name\", library_calls[{0}].server_name, {2});\n",
                i, literal(call.lsu_text), literal(call.server_name));
        for (size_t word = 0; word < call.arguments.size(); ++word)
            if (call.arguments[word].kind == model::Word::number)
                text += fmt::format("    expect_number(\"argument {}\", library_calls[{}].arguments[{}], {:#x}U);\n",
                                    word + 1, i, word, call.arguments[word].value);
            else if (call.arguments[word].kind == model::Word::number32)
                text += fmt::format(
                    "    expect_number(\"argument {}\", static_cast<uint32_t>(library_calls[{}].arguments[{}]), "
                    "{:#x}U);\n",
                    word + 1, i, word, call.arguments[word].value);
    }
    return text;
}

std::string stored_text(const Call &call, const Expected &expected) {
    const char *kind = nullptr;
    if (call.operation == Operation::open_lsu_list || call.operation == Operation::open_dynamic_lsu_list)
        kind = "list";
    if (call.operation == Operation::open_server || call.operation == Operation::create_server ||
        call.operation == Operation::open_target_server)
        kind = "server";
    if (kind == nullptr || call.null_out)
        return {};
    const bool is_stored = expected.stored != model::Stored::nothing;
    return fmt::format("    expect_true({}{} {} nullptr, \"handle\", \"{}\", \"{}\");\n", kind, call.id,
                       is_stored ? "!=" : "==", is_stored ? "stored" : "none stored",
                       is_stored ? "none stored" : "stored");
}

std::string record_text(const Call &call, const Expected &expected) {
    if (expected.record.empty() || expected.any_record || call.null_record || call.null_out)
        return {};
    if (call.operation == Operation::list_lsu || call.operation == Operation::mount_lsu) {
        if (expected.status != 0 && expected.record[0] == static_cast<char>(call.fill))
            return {};
        return fmt::format("    expect_text(\"text\", std::string(name), {});\n", literal(up_to_nul(expected.record)));
    }
    return fields_of_record(call.operation) == nullptr ? "" : RecordText(call, expected).text();
}

}  // namespace

std::string literal(const std::string &text) {
    static const std::string work = "{work}";
    static const std::string own = "{own}";
    std::string out = "std::string(\"";
    std::string plain;
    for (size_t at = 0; at < text.size(); ++at) {
        if (text.compare(at, work.size(), work) == 0) {
            out += escaped(plain) + "\") + work_directory() + std::string(\"";
            plain.clear();
            at += work.size() - 1;
        } else if (text.compare(at, own.size(), own) == 0) {
            plain += "explored";
            at += own.size() - 1;
        } else {
            plain += text[at];
        }
    }
    return out + escaped(plain) + "\")";
}

std::string status_literal(int32_t status) {
    switch (status) {
#define STATUS_NAME(name, number, meaning) \
    case name:                             \
        return #name;
        STS_STATUS_LIST(STATUS_NAME)
#undef STATUS_NAME
        default:
            return std::to_string(status);
    }
}

std::string preparation_text(const Expected &expected) {
    std::string text;
    for (int session = 0; session < model::SESSIONS; ++session)
        text += fmt::format("    session{}.clear();\n", session);
    if (!expected.library.empty())
        text += "    take_image_calls();\n";
    if (!expected.output.empty())
        text += "    take_output();\n";
    return text;
}

std::string expectation_text(const Call &call, const Expected &expected) {
    std::string text;
    if (!expected.any_messages)
        text += messages_text(expected);
    text += stored_text(call, expected);
    if (call.operation == Operation::copy_extent && !call.null_out)
        text += fmt::format("    expect_number(\"count\", count, {:#x}U);\n", expected.count.value_or(0));
    if (!expected.output.empty())
        text += fmt::format("    expect_text(\"standard output\", take_output(), {});\n", literal(expected.output));
    text += library_text(expected);
    return text + record_text(call, expected);
}

}  // namespace conformance
