// Which fields of a framework's record differ, by name: a diff of bytes alone sends its reader to the header.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "stspi/sts_types.h"

namespace conformance {

enum class FieldKind { number, text, bytes };

struct RecordField {
    const char *name;
    size_t offset;
    size_t size;
    FieldKind kind;
};

const std::vector<RecordField> &fields_of(const sts_lsu_info_v9_t *);
const std::vector<RecordField> &fields_of(const sts_server_info_t *);
const std::vector<RecordField> &fields_of(const sts_registration_t *);
const std::vector<RecordField> &fields_of(const void *);  // no fields are known

// "capacity_bytes (offset 4712) expected 400 (0x190), got 100 (0x64)", one line a field that differs.
std::string differing_fields(const std::vector<RecordField> &fields, const void *expected, const void *got);

}  // namespace conformance
