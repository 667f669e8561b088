// Turns a call's arguments into items of a record, by the table of entry points.
#pragma once

#include <string>

#include "journal/entry_points.h"
#include "journal/record_buffer.h"
#include "journal/writer.h"

namespace journal {

struct CaptureSettings {
    DataMode data;
    const std::string &data_directory;
};

// What the callee will read, and what its outputs hold that it may leave as they are.
void capture_before(const EntryPoint &entry_point, const uint64_t *arguments, const CaptureSettings &settings,
                    RecordBuffer &record) noexcept;

// What the callee stored.
void capture_after(const EntryPoint &entry_point, const uint64_t *arguments, int32_t status,
                   const CaptureSettings &settings, RecordBuffer &record) noexcept;

}  // namespace journal
