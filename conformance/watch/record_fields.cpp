#include "conformance/watch/record_fields.h"

#include <fmt/format.h>

#include <cstdint>
#include <cstring>

#include "base/number_field.h"
#include "base/quoted_bytes.h"

namespace conformance {

namespace {

#define FIELD(record, name, kind) \
    { #name, offsetof(record, name), sizeof(record::name), FieldKind::kind }

std::string shown(const RecordField &field, const void *record) {
    const char *begin = static_cast<const char *>(record) + field.offset;
    if (field.kind == FieldKind::text)
        return quoted_bytes(std::string(begin, strnlen(begin, field.size)), 120);
    const uint64_t number = number_in_field(begin, field.size);
    return fmt::format("{} (0x{:x})", number, number);
}

std::vector<RecordField> server_fields() {
    std::vector<RecordField> fields = {
        FIELD(sts_server_info_t, server_name, text), FIELD(sts_server_info_t, reserved_512, bytes),
        FIELD(sts_server_info_t, server_type, number), FIELD(sts_server_info_t, reserved_1028, bytes)};
    for (size_t word = 0; word < STS_CAPABILITY_WORDS; ++word)
        fields.push_back({"capabilities", offsetof(sts_server_info_t, capabilities) + word * sizeof(uint32_t),
                          sizeof(uint32_t), FieldKind::number});
    return fields;
}

}  // namespace

const std::vector<RecordField> &fields_of(const sts_lsu_info_v9_t *) {
    static const std::vector<RecordField> fields = {
        FIELD(sts_lsu_info_v9_t, server_name, text),        FIELD(sts_lsu_info_v9_t, lsu_name, text),
        FIELD(sts_lsu_info_v9_t, lsu_class, number),        FIELD(sts_lsu_info_v9_t, class_qualifier, number),
        FIELD(sts_lsu_info_v9_t, property_text, text),      FIELD(sts_lsu_info_v9_t, flags, number),
        FIELD(sts_lsu_info_v9_t, block_size_bytes, number), FIELD(sts_lsu_info_v9_t, capacity_bytes, number),
        FIELD(sts_lsu_info_v9_t, used_bytes, number)};
    return fields;
}

const std::vector<RecordField> &fields_of(const sts_server_info_t *) {
    static const std::vector<RecordField> fields = server_fields();
    return fields;
}

const std::vector<RecordField> &fields_of(const sts_registration_t *) {
    static const std::vector<RecordField> fields = {
        FIELD(sts_registration_t, api_version, number),    FIELD(sts_registration_t, entry_points, number),
        FIELD(sts_registration_t, prefix, text),           FIELD(sts_registration_t, label, text),
        FIELD(sts_registration_t, reserved, bytes),        FIELD(sts_registration_t, flag_1, number),
        FIELD(sts_registration_t, flag_2, number),         FIELD(sts_registration_t, version_word_1, number),
        FIELD(sts_registration_t, version_word_2, number), FIELD(sts_registration_t, version_word_3, number),
        FIELD(sts_registration_t, byte_flag, number)};
    return fields;
}

const std::vector<RecordField> &fields_of(const void *) {
    static const std::vector<RecordField> none;
    return none;
}

std::string differing_fields(const std::vector<RecordField> &fields, const void *expected, const void *got) {
    std::string out;
    for (const RecordField &field : fields) {
        const char *a = static_cast<const char *>(expected) + field.offset;
        const char *b = static_cast<const char *>(got) + field.offset;
        if (std::memcmp(a, b, field.size) == 0)
            continue;
        const std::string place = fmt::format("{} (offset {})", field.name, field.offset);
        const std::string wanted = field.kind == FieldKind::bytes ? "" : shown(field, expected);
        const std::string came = field.kind == FieldKind::bytes ? "" : shown(field, got);
        // Texts may differ behind their ends alone.
        out += wanted == came
                   ? fmt::format("{} differs{}\n", place, wanted.empty() ? "" : " behind the end of its text")
                   : fmt::format("{} expected {}, got {}\n", place, wanted, came);
    }
    return out;
}

}  // namespace conformance
