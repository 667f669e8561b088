#include "journal/capture.h"

#include <algorithm>
#include <cstring>

#include "base/number_field.h"
#include "journal/readable_memory.h"
#include "journal/side_files.h"

namespace journal {

namespace {

constexpr size_t LONGEST_TEXT = 16384;  // a longer one is cut, with its size and hash beside it

// No memory lies below: a number in a pointer's place, which a callee that refuses the call does not follow.
constexpr uint64_t LOWEST_ADDRESS = 65536;

template <typename Pointer>
Pointer pointer_of(uint64_t word) {
    return reinterpret_cast<Pointer>(static_cast<uintptr_t>(word));
}

// One capture: the record that it fills, with what.
struct Capture {
    RecordBuffer &record;
    const CaptureSettings &settings;

    // Hash and side file of bytes that are known to be readable.
    void bytes(size_t argument, size_t field, const void *memory, uint64_t size) const noexcept {
        DataItem data = {size, 0, 0};
        uint8_t flags = 0;
        if (settings.data != DataMode::size) {
            data = hash_data(memory, size);
            flags = ITEM_HASHED;
        }
        if (settings.data == DataMode::bytes && save_data(settings.data_directory, data, memory))
            flags |= ITEM_SAVED;
        record.add({ItemType::data, static_cast<uint8_t>(argument), static_cast<uint8_t>(field), flags, sizeof data},
                   &data);
    }

    void text(size_t argument, size_t field, uint8_t flags, const char *text, size_t size) const noexcept {
        if (size <= LONGEST_TEXT) {
            record.add_text(argument, field, flags, {text, size});
            return;
        }
        record.add_text(argument, field, flags | ITEM_CUT, {text, LONGEST_TEXT});
        bytes(argument, field, text, size);
    }

    void field(size_t argument, size_t index, const Field &field, uint8_t flags,
               const unsigned char *record_bytes) const noexcept {
        const unsigned char *bytes_of_field = record_bytes + field.offset;
        switch (field.type) {
            case FieldType::text: {
                const auto *text_of_field = reinterpret_cast<const char *>(bytes_of_field);
                text(argument, index, flags, text_of_field, strnlen(text_of_field, field.size));
                break;
            }
            case FieldType::words:
                record.add({ItemType::bytes, static_cast<uint8_t>(argument), static_cast<uint8_t>(index), flags,
                            static_cast<uint32_t>(field.size)},
                           bytes_of_field);
                break;
            case FieldType::number:
            case FieldType::signed_number:
            case FieldType::address:
            case FieldType::handle:
                record.add_word(field.type == FieldType::handle    ? ItemType::handle
                                : field.type == FieldType::address ? ItemType::address
                                                                   : ItemType::number,
                                argument, index, flags, number_in_field(bytes_of_field, field.size));
                break;
        }
    }

    // False when it is not there.
    bool whole_record(size_t argument, const RecordType &type, uint8_t flags, uint64_t word) const noexcept {
        const auto *bytes_of_record = pointer_of<const unsigned char *>(word);
        if (bytes_of_record == nullptr) {
            record.add_null(argument, NO_FIELD);
            return false;
        }
        if (!is_readable(bytes_of_record, type.size)) {
            record.add_word(ItemType::unreadable, argument, NO_FIELD, flags, word);
            return false;
        }
        for (size_t i = 0; i < type.field_count; ++i)
            field(argument, i, type.fields[i], flags, bytes_of_record);
        return true;
    }

    void several_records(size_t argument, const RecordType &type, uint64_t word, int32_t count) const noexcept {
        if (word == 0 || count <= 0) {
            pointer(argument, word);
            return;
        }
        for (int32_t i = 0; i < count && (record.head().flags & RECORD_CUT) == 0; ++i)
            if (!whole_record(argument, type, 0, word + static_cast<uint64_t>(i) * type.size))
                return;
    }

    void data(size_t argument, uint64_t word, uint64_t size) const noexcept {
        const auto *memory = pointer_of<const void *>(word);
        if (memory == nullptr)
            record.add_null(argument, NO_FIELD);
        else if (settings.data != DataMode::size && !is_readable(memory, size))
            record.add_word(ItemType::unreadable, argument, NO_FIELD, 0, word);
        else
            bytes(argument, NO_FIELD, memory, size);
    }

    // A 64-bit word that an output points to.
    void out_word(size_t argument, ItemType type, uint8_t flags, uint64_t word) const noexcept {
        const auto *target = pointer_of<const uint64_t *>(word);
        if (target == nullptr) {
            record.add_null(argument, NO_FIELD);
        } else if (!is_readable(target, sizeof *target)) {
            record.add_word(ItemType::unreadable, argument, NO_FIELD, flags, word);
        } else {
            uint64_t value = 0;
            std::memcpy(&value, target, sizeof value);
            record.add_word(type, argument, NO_FIELD, flags, value);
        }
    }

    void pointer(size_t argument, uint64_t word) const noexcept {
        if (word == 0)
            record.add_null(argument, NO_FIELD);
        else
            record.add_word(ItemType::address, argument, NO_FIELD, 0, word);
    }
};

int32_t as_signed(uint64_t word) { return static_cast<int32_t>(static_cast<uint32_t>(word)); }

// As much of the room as the callee says it filled.
uint64_t filled(const Argument &argument, const uint64_t *arguments) noexcept {
    const auto *count = pointer_of<const uint64_t *>(arguments[argument.count_argument]);
    uint64_t stored = 0;
    if (is_readable(count, sizeof *count))
        std::memcpy(&stored, count, sizeof stored);
    return std::min(stored, arguments[argument.size_argument]);
}

}  // namespace

void capture_before(const EntryPoint &entry_point, const uint64_t *arguments, const CaptureSettings &settings,
                    RecordBuffer &record) noexcept {
    const Capture capture = {record, settings};
    for (size_t i = 0; i < entry_point.argument_count; ++i) {
        const Argument &argument = entry_point.arguments[i];
        const uint64_t word = arguments[i];
        switch (argument.kind) {
            case ArgumentKind::ignored:
                capture.pointer(i, word);
                break;
            case ArgumentKind::number:
                record.add_word(ItemType::number, i, NO_FIELD, 0, word);
                break;
            case ArgumentKind::number32:
                record.add_word(ItemType::number, i, NO_FIELD, 0, static_cast<uint32_t>(word));
                break;
            case ArgumentKind::signed32:
                record.add_word(ItemType::number, i, NO_FIELD, 0, static_cast<uint64_t>(int64_t{as_signed(word)}));
                break;
            case ArgumentKind::handle:
                record.add_word(ItemType::handle, i, NO_FIELD, 0, word);
                break;
            case ArgumentKind::text:
                if (word == 0)
                    record.add_null(i, NO_FIELD);
                else if (word < LOWEST_ADDRESS)
                    record.add_word(ItemType::unreadable, i, NO_FIELD, 0, word);
                else
                    capture.text(i, NO_FIELD, 0, pointer_of<const char *>(word),
                                 std::strlen(pointer_of<const char *>(word)));
                break;
            case ArgumentKind::record:
                capture.whole_record(i, *argument.record, 0, word);
                break;
            case ArgumentKind::records:
                capture.several_records(i, *argument.record, word, as_signed(arguments[argument.size_argument]));
                break;
            case ArgumentKind::data:
                capture.data(i, word, arguments[argument.size_argument]);
                break;
            case ArgumentKind::out_handle:
                capture.out_word(i, ItemType::address, ITEM_BEFORE, word);
                break;
            case ArgumentKind::in_out_record:
                capture.whole_record(i, *argument.record, ITEM_BEFORE, word);
                break;
            case ArgumentKind::out_number:
            case ArgumentKind::out_text:
            case ArgumentKind::out_record:
            case ArgumentKind::out_data:
                capture.pointer(i, word);
                break;
        }
    }
}

void capture_after(const EntryPoint &entry_point, const uint64_t *arguments, int32_t status,
                   const CaptureSettings &settings, RecordBuffer &record) noexcept {
    const Capture capture = {record, settings};
    for (size_t i = 0; i < entry_point.argument_count; ++i) {
        const Argument &argument = entry_point.arguments[i];
        const uint64_t word = arguments[i];
        if (word == 0)
            continue;
        switch (argument.kind) {
            case ArgumentKind::out_handle:
                capture.out_word(i, ItemType::handle, 0, word);
                break;
            case ArgumentKind::out_number:
                capture.out_word(i, ItemType::number, 0, word);
                break;
            case ArgumentKind::out_text:
                if (status == 0 && word >= LOWEST_ADDRESS)
                    capture.text(i, NO_FIELD, 0, pointer_of<const char *>(word),
                                 strnlen(pointer_of<const char *>(word), argument.text_size));
                break;
            case ArgumentKind::out_record:
                if (status == 0)
                    capture.whole_record(i, *argument.record, 0, word);
                break;
            case ArgumentKind::in_out_record:
                capture.whole_record(i, *argument.record, 0, word);
                break;
            case ArgumentKind::out_data:
                if (status == 0)
                    capture.data(i, word, filled(argument, arguments));
                break;
            case ArgumentKind::ignored:
            case ArgumentKind::number:
            case ArgumentKind::number32:
            case ArgumentKind::signed32:
            case ArgumentKind::handle:
            case ArgumentKind::text:
            case ArgumentKind::record:
            case ArgumentKind::records:
            case ArgumentKind::data:
                break;
        }
    }
}

}  // namespace journal
