// The bytes of a journal file. Numbers lie in it in the byte order of the machine that writes: all writers map the file and
// count in it together. A machine of the other byte order refuses it.
//
//     0        FileHeader        4096 bytes
//     4096     about             items (see Item) that say who wrote it, up to about_size bytes
//     65536    records           `capacity` bytes at most; a ring starts over at its end
//
// A record's place is counted in bytes ever written, so that a ring's rounds are told apart: it lies at
// HEADER_SIZE + place % capacity and is never split. A writer takes room by adding to `cursor`, marks it with
// RecordHead::mark and ::length in one store, writes the record and stores ::check last. So a process that is killed
// leaves at worst a record whose check is wrong, and the next one is found by its length, or by looking for its mark.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace journal {

constexpr char FILE_MAGIC[8] = {'S', 'T', 'S', 'P', 'I', 'J', 'N', 'L'};

enum : uint32_t {
    FORMAT_VERSION = 1,
    FOREIGN_VERSION = 0x01000000  // the same as a machine of the other byte order wrote it
};

enum : uint64_t {
    ABOUT_OFFSET = 4096,
    HEADER_SIZE = 65536,  // where records begin
    MIN_CAPACITY = 65536,
    MAX_CAPACITY = uint64_t{1} << 40,
    MAX_RECORD_SIZE = 1 << 20,  // and never more than a quarter of the capacity
    RECORD_ALIGNMENT = 8
};

enum class Mode : uint32_t { growing = 0, ring = 1 };

struct FileHeader {
    char magic[8];
    uint32_t version;
    Mode mode;
    uint64_t capacity;  // bytes for records; a multiple of RECORD_ALIGNMENT
    uint64_t nonce;     // part of every mark and check: records of another journal are never taken for this one's
    uint64_t wall_ns;   // when the file was made, since 1970-01-01 00:00 UTC
    uint64_t monotonic_ns;
    uint32_t about_size;
    alignas(64) std::atomic<uint64_t> cursor;     // place of the next record
    alignas(64) std::atomic<uint64_t> allocated;  // bytes of the record area that have room on the disk
    std::atomic<uint64_t> lost;                   // records that found no room
};
static_assert(sizeof(FileHeader) <= ABOUT_OFFSET);
static_assert(offsetof(FileHeader, cursor) == 64 && offsetof(FileHeader, allocated) == 128);
static_assert(std::atomic<uint64_t>::is_always_lock_free && sizeof(std::atomic<uint64_t>) == 8);

enum class RecordKind : uint8_t {
    process = 1,  // a process begins to write, or is born of a fork; items as in `about`
    enter,        // items of the arguments
    leave,        // status, items of what was stored
    log,          // a message that the plug-in sent; status is its level, then one text item
    output,       // what the call printed on standard output; one text item
    fault,        // a rule fired; status is the rule's line, entry_point as in enter; one text item
    rules         // the rules in force have changed; one text item
};

struct RecordHead {
    uint32_t mark;    // mark_of(place, nonce)
    uint32_t length;  // whole record, a multiple of RECORD_ALIGNMENT. Less than a RecordHead: padding
    uint64_t check;   // check_of(record, place, nonce), PADDING for padding
    uint64_t monotonic_ns;
    uint64_t wall_ns;  // as coarse as the system's clock tick
    uint64_t call;     // place of the entering record; 0 outside of a call
    uint32_t pid;
    uint32_t tid;
    RecordKind kind;
    uint8_t flags;  // RECORD_*
    uint16_t entry_point;
    int32_t status;
};
static_assert(sizeof(RecordHead) == 56);

enum : uint64_t { PADDING = ~uint64_t{0} };

enum : uint8_t {
    RECORD_CUT = 1,    // there was more than fits a record
    RECORD_FORKED = 2  // of a process record: born of a fork, with the parent's handles; status is the parent's id
};

enum class ItemType : uint8_t {
    null = 1,    // a null pointer
    address,     // 8 bytes: a pointer that was not followed
    unreadable,  // 8 bytes: a pointer to memory that is not there
    number,      // 8 bytes, sign-extended where the argument is signed
    handle,      // 8 bytes: the handle's value
    text,        // without its terminator
    bytes,       // as they are
    data         // a DataItem
};

// One argument, or one field of a record, or one thing of `about`. `size` bytes follow, padded to RECORD_ALIGNMENT.
struct Item {
    ItemType type;
    uint8_t argument;  // its index; in `about` and process records an About
    uint8_t field;     // index in the RecordType, NO_FIELD for an argument as a whole
    uint8_t flags;     // ITEM_*
    uint32_t size;
};
static_assert(sizeof(Item) == 8);

enum : uint8_t { NO_FIELD = 255 };

enum : uint8_t {
    ITEM_CUT = 1,     // of a text: the beginning of a longer one, whose DataItem is the next item
    ITEM_SAVED = 2,   // of data: its bytes are in a side file
    ITEM_HASHED = 4,  // of data: the two hashes are set
    ITEM_BEFORE = 8   // what an output argument pointed to before the call
};

struct DataItem {
    uint64_t size;
    uint64_t hash_high;  // xxh128, the canonical form's first eight bytes as a number
    uint64_t hash_low;
};

enum class About : uint8_t {
    writer = 1,         // "stspi_filter 0.1.0"
    plugin,             // path
    plugin_hash,        // xxh128 of the file, 32 hexadecimal digits
    rules,              // text of the rule file
    seed,               // number
    program,            // path of the process's executable
    interface_version,  // number: version that the plug-in registers
    data_directory      // where side files are
};

// What tells a record's first bytes from others, and a whole record from a torn one. Never 0.
uint32_t mark_of(uint64_t place, uint64_t nonce);
// `bytes` are the record's from behind ::check on.
uint64_t check_of(const void *bytes, size_t size, uint64_t place, uint64_t nonce);

constexpr uint64_t aligned(uint64_t size) { return (size + RECORD_ALIGNMENT - 1) & ~uint64_t{RECORD_ALIGNMENT - 1}; }

}  // namespace journal
