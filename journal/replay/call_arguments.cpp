#include "journal/replay/call_arguments.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>

#include "base/number_field.h"
#include "journal/items.h"
#include "journal/readable_memory.h"
#include "journal/side_files.h"

using namespace journal;

namespace {

// Of a process: Linux gives out 47 bits on x86-64, 48 on AArch64 and 53 on s390x.
constexpr uint64_t lowest_address = 65536;
constexpr uint64_t highest_address = uint64_t{1} << 53;
constexpr uint64_t nothing_there = 0x111;

// Of a buffer for data more is not made: what is read into it is at most what the call asks for.
constexpr uint64_t largest_buffer = uint64_t{1} << 30;

ItemView view_of(const RecordedItem &item) { return {item.head, item.bytes}; }

bool is_null(const std::vector<const RecordedItem *> &items) {
    return items.size() == 1 && items.front()->head.type == ItemType::null;
}

}  // namespace

CallArguments::CallArguments(const RecordedStep &step, const std::string &data_directory, const HandleNow &handle_now,
                             const SessionNow &session_now)
    : step_(step), data_directory_(data_directory), handle_now_(handle_now), session_now_(session_now) {
    const EntryPoint &called = *journal::entry_point(step.entry_point);
    for (uint8_t i = 0; i < called.argument_count; ++i) {
        Items items;
        for (const RecordedItem &item : step.arguments)
            if (item.head.argument == i)
                items.push_back(&item);
        words_[i] =
            is_number_for_a_place(i, items) ? view_of(*items.front()).word() : built(called.arguments[i], items);
    }
}

// A number in the place of a pointer to a place for a result, which nobody followed.
bool CallArguments::is_number_for_a_place(uint8_t argument, const Items &items) const {
    // What a place for a handle held is told in the same way.
    if (items.size() != 1 || items.front()->head.type != ItemType::address ||
        (items.front()->head.flags & ITEM_BEFORE) != 0)
        return false;
    const bool was_unreadable = std::any_of(step_.results.begin(), step_.results.end(), [&](const RecordedItem &item) {
        return item.head.argument == argument && item.head.type == ItemType::unreadable;
    });
    const uint64_t word = view_of(*items.front()).word();
    if (word < lowest_address || word > highest_address)
        return true;
    return was_unreadable &&
           !is_readable(reinterpret_cast<const void *>(word), 1);  // NOLINT(performance-no-int-to-ptr)
}

uint64_t CallArguments::stored_handle() const { return handle_place_ == nullptr ? 0 : *handle_place_; }

uint64_t CallArguments::pointer_to(std::string bytes) {
    return reinterpret_cast<uint64_t>(memory_.emplace_back(std::move(bytes)).data());
}

uint64_t CallArguments::room_for(uint64_t size) {
    // Pages that nobody writes to are not there.
    rooms_.emplace_back(std::calloc(std::max<uint64_t>(size, 1), 1), std::free);
    return reinterpret_cast<uint64_t>(rooms_.back().get());
}

uint64_t CallArguments::number_of_argument(uint8_t argument) const {
    for (const RecordedItem &item : step_.arguments)
        if (item.head.argument == argument && item.head.type == ItemType::number)
            return view_of(item).word();
    return 0;
}

uint64_t CallArguments::data_of(const RecordedItem &item) {
    const DataItem data = view_of(item).data();
    if (view_of(item).has(ITEM_SAVED)) {
        std::ifstream file(data_directory_ + "/" + hash_name(data), std::ios::binary);
        std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
        if (bytes.size() == data.size)
            return pointer_to(std::move(bytes));
    }
    // The same content each time, and another for another hash.
    std::string bytes(std::min(data.size, largest_buffer), '\0');
    uint64_t state = data.hash_high ^ data.hash_low ^ data.size;
    for (char &byte : bytes) {
        state = state * 6364136223846793005U + 1442695040888963407U;
        byte = static_cast<char>(state >> 56);
    }
    return pointer_to(std::move(bytes));
}

void CallArguments::put_field(std::string &record, size_t base, const Field &field, const RecordedItem &item) {
    const ItemView view = view_of(item);
    const size_t place = base + field.offset;
    if (view.head.type == ItemType::text || view.head.type == ItemType::bytes) {
        const size_t length = std::min(view.bytes.size(), field.size);
        std::memcpy(&record[place], view.bytes.data(), length);
        if (length < field.size)
            record[place + length] = '\0';
        return;
    }
    const uint64_t word = field.type == FieldType::handle ? handle_now_(field.handle, view.word()) : view.word();
    put_number(&record[place], field.size, word);
}

uint64_t CallArguments::record_of(const Argument &argument, const Items &items, size_t count) {
    const RecordType &type = *argument.record;
    const size_t size = type.whole_size;
    std::string record(size * std::max<size_t>(count, 1), '\0');
    size_t index = 0;
    std::vector<bool> seen(type.field_count);
    for (const RecordedItem *item : items) {
        const uint8_t number = item->head.field;
        if (number >= type.field_count || item->head.type == ItemType::data)
            continue;
        // Of several records back to back, the next begins when a field comes again.
        if (seen[number]) {
            seen.assign(type.field_count, false);
            if (++index >= count)
                break;
        }
        seen[number] = true;
        put_field(record, index * size, type.fields[number], *item);
    }
    return pointer_to(std::move(record));
}

uint64_t CallArguments::place_for_handle(const Argument &argument, const Items &items) {
    // A call that fails may leave there what the caller's variable held.
    const auto before = std::find_if(items.begin(), items.end(), [](const RecordedItem *item) {
        return item->head.type == ItemType::address && (item->head.flags & ITEM_BEFORE) != 0;
    });
    const uint64_t held = before == items.end() ? 0 : view_of(**before).word();
    const uint64_t held_now = held == 0 ? 0 : handle_now_(argument.handle, held);
    std::string place(sizeof held_now, '\0');
    std::memcpy(place.data(), &held_now, sizeof held_now);
    const uint64_t word = pointer_to(std::move(place));
    handle_place_ = reinterpret_cast<const uint64_t *>(word);  // NOLINT(performance-no-int-to-ptr)
    return word;
}

uint64_t CallArguments::built(const Argument &argument, const Items &items) {
    if (is_null(items))
        return 0;
    // A number in a pointer's place, which nobody follows.
    if (items.size() == 1 && items.front()->head.type == ItemType::unreadable) {
        const uint64_t word = view_of(*items.front()).word();
        return is_readable(reinterpret_cast<const void *>(word), 1) ? 0 : word;  // NOLINT(performance-no-int-to-ptr)
    }
    switch (argument.kind) {
        case ArgumentKind::number:
        case ArgumentKind::number32:
        case ArgumentKind::signed32:
            return items.empty() ? 0 : view_of(*items.front()).word();
        case ArgumentKind::handle:
            return items.empty() ? 0 : handle_now_(argument.handle, view_of(*items.front()).word());
        case ArgumentKind::text:
            return items.empty() ? 0 : pointer_to(std::string(items.front()->bytes) + '\0');
        case ArgumentKind::record:
            if (std::strcmp(argument.record->name, "session") == 0) {
                uint64_t values[3] = {};
                for (const RecordedItem *item : items)
                    if (item->head.field < 3)
                        values[item->head.field] = view_of(*item).word();
                return reinterpret_cast<uint64_t>(session_now_(values[0], values[1], static_cast<uint32_t>(values[2])));
            }
            return record_of(argument, items, 1);
        case ArgumentKind::records:
            return record_of(argument, items, static_cast<size_t>(number_of_argument(argument.size_argument)));
        case ArgumentKind::data:
            return items.empty() || items.front()->head.type != ItemType::data ? 0 : data_of(*items.front());
        case ArgumentKind::out_handle:
            return place_for_handle(argument, items);
        case ArgumentKind::out_number:
            return pointer_to(std::string(sizeof(uint64_t), '\0'));
        case ArgumentKind::out_text:
            return pointer_to(std::string(argument.text_size, '\0'));
        case ArgumentKind::out_record:
        case ArgumentKind::in_out_record:
            return record_of(argument, items, 1);
        case ArgumentKind::out_data:
            return room_for(std::min(number_of_argument(argument.size_argument), largest_buffer));
        case ArgumentKind::ignored:
            // Nobody follows it: whoever does shall not find anything.
            return items.empty() ? 0 : nothing_there;
    }
    return 0;
}
