// What every entry point is called with: names, kinds and directions of its arguments, and the fields of the records
// among them. The writer captures a call by this table, the reader names what was captured, and a replay makes the call
// again. No other place knows an argument list.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "stspi/stspi.h"

namespace journal {

enum class HandleKind : uint8_t { none, server, lsu_list, image, image_list };

// "server", "lsu_list", "image", "image_list", "".
const char *handle_kind_name(HandleKind kind);

enum class FieldType : uint8_t { text, number, signed_number, words, address, handle };

struct Field {
    const char *name;
    size_t offset;
    size_t size;  // bytes; of a number 1, 4 or 8; words are 32 bits each
    FieldType type;
    HandleKind handle = HandleKind::none;
};

// A record that crosses the interface: the fields that mean something. Reserved bytes are not among them.
struct RecordType {
    const char *name;
    size_t size;        // up to the end of the last field
    size_t whole_size;  // with the reserved bytes behind it
    const Field *fields;
    size_t field_count;

    const Field *begin() const { return fields; }
    const Field *end() const { return fields + field_count; }
};

enum class ArgumentKind : uint8_t {
    ignored,        // a pointer that nobody follows
    number,         // 64 bits, unsigned
    number32,       // 32 bits, unsigned; the upper half of the register means nothing
    signed32,       // 32 bits, signed; likewise
    handle,         // of kind `handle`
    text,           // NUL-terminated, read by the callee
    record,         // pointer to a record of type `record`
    records,        // pointer to several, back to back; argument `size_argument` tells how many
    data,           // pointer to as many bytes as argument `size_argument` tells
    out_handle,     // pointer to a handle of kind `handle`, stored by the callee
    out_number,     // pointer to a 64-bit number, stored by the callee
    out_text,       // pointer to a text of at most `text_size` bytes, stored on success
    out_record,     // pointer to a record, stored on success
    in_out_record,  // pointer to a record that the callee fills in part
    out_data        // pointer to room for `size_argument` bytes; `count_argument` tells how many were stored
};

struct Argument {
    const char *name;
    ArgumentKind kind;
    HandleKind handle = HandleKind::none;
    const RecordType *record = nullptr;
    uint8_t size_argument = 0;
    uint8_t count_argument = 0;
    uint16_t text_size = 0;
    bool ends_handle = false;  // after the call the handle is gone

    // Whether the callee stores through the argument.
    bool is_output() const { return kind >= ArgumentKind::out_handle; }
};

enum : size_t { MAX_ARGUMENTS = 7 };

enum class Table : uint8_t { none, first, second };

struct EntryPoint {
    const char *name;  // "stspi_claim"; null for a number that stands for no entry point
    Table table;
    uint8_t slot;
    bool fixed_arguments;  // false: what is passed is not known, and is not recorded
    uint8_t argument_count;
    std::array<Argument, MAX_ARGUMENTS> arguments;
};

// An entry point's number: its slot in the first table; 41 plus its slot in the second; 63 to 65 for those in no table.
// Numbers stand in journals and never change.
using EntryPointNumber = uint16_t;

enum : EntryPointNumber {
    ENTRY_POINT_INIT = STS_ENTRY_POINT_COUNT + STS_ENTRY_POINT_COUNT2,
    ENTRY_POINT_INIT2,
    ENTRY_POINT_LOAD_PROCESS,
    ENTRY_POINT_NUMBERS
};

constexpr EntryPointNumber first_table_entry(unsigned slot) { return static_cast<EntryPointNumber>(slot); }
constexpr EntryPointNumber second_table_entry(unsigned slot) {
    return static_cast<EntryPointNumber>(STS_ENTRY_POINT_COUNT + slot);
}

// Null for a number that stands for no entry point.
const EntryPoint *entry_point(unsigned number);

// ENTRY_POINT_NUMBERS when there is none of that name.
EntryPointNumber find_entry_point(std::string_view name);

}  // namespace journal
