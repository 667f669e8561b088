#include "journal/calls/call_json.h"

#include <fmt/format.h>

#include "base/hexadecimal.h"
#include "base/utf8.h"
#include "journal/side_files.h"

using namespace journal;

namespace {

bool is_utf8(std::string_view text) {
    while (!text.empty()) {
        const size_t length = utf8_length(text);
        if (length == 1 && static_cast<unsigned char>(text.front()) >= 0x80)
            return false;
        text.remove_prefix(length);
    }
    return true;
}

Json words_json(std::string_view bytes) {
    Json words = Json::array();
    for (size_t i = 0; i + sizeof(uint32_t) <= bytes.size(); i += sizeof(uint32_t)) {
        uint32_t word = 0;
        std::memcpy(&word, bytes.data() + i, sizeof word);
        words.push_back(word);
    }
    return words;
}

Json data_json(const ItemView &item) {
    const DataItem data = item.data();
    Json json = {{"size", data.size}};
    if (item.has(ITEM_HASHED))
        json["xxh128"] = hash_name(data);
    if (item.has(ITEM_SAVED))
        json["saved"] = true;
    return json;
}

// Puts the items of one record together.
class CallBuilder {
public:
    CallBuilder(const EntryPoint &called, const HandleNaming &naming) : called_(called), naming_(naming) {}

    void add(const ItemView &item) {
        if (item.head.argument >= called_.argument_count)
            return;
        const Argument &argument = called_.arguments[item.head.argument];
        if (item.whole_argument()) {
            put(result.values[argument.name], argument.name, item, argument.handle,
                argument.kind == ArgumentKind::signed32, false);
        } else if (argument.record != nullptr && item.head.field < argument.record->field_count) {
            const Field &field = argument.record->fields[item.head.field];
            Json &record = record_of(argument, item);
            put(record[field.name], fmt::format("{}.{}", argument.name, field.name), item, field.handle,
                field.type == FieldType::signed_number, field.type == FieldType::words);
        }
    }

    CallJson result;

private:
    // Of several records back to back, a new one begins when a field comes again.
    Json &record_of(const Argument &argument, const ItemView &item) {
        Json &value = result.values[argument.name];
        if (argument.kind != ArgumentKind::records) {
            if (!value.is_object())
                value = Json::object();
            return value;
        }
        if (!value.is_array())
            value = Json::array();
        const bool is_rest_of_text = item.head.type == ItemType::data;
        if (value.empty() || (!is_rest_of_text && value.back().contains(argument.record->fields[item.head.field].name)))
            value.push_back(Json::object());
        return value.back();
    }

    void put(Json &value, const std::string &path, const ItemView &item, HandleKind kind, bool is_signed,
             bool is_words) {
        switch (item.head.type) {
            case ItemType::null:
                value = nullptr;
                break;
            case ItemType::address:
                // A handle that was in the caller's variable before means nothing to the callee.
                value = item.word() == 0 && !item.has(ITEM_BEFORE) ? Json() : Json("pointer");
                if (item.word() != 0)
                    result.addresses[path] = fmt::format("{:#x}", item.word());
                break;
            case ItemType::unreadable:
                value = "unreadable";
                result.addresses[path] = fmt::format("{:#x}", item.word());
                break;
            case ItemType::number:
                value = is_signed ? Json(static_cast<int64_t>(item.word())) : Json(item.word());
                break;
            case ItemType::handle:
                value = item.word() == 0 ? Json() : Json(naming_(kind, item.word()));
                if (item.word() != 0)
                    result.addresses[path] = fmt::format("{:#x}", item.word());
                break;
            case ItemType::text:
                value = text_json(item.bytes);
                if (item.has(ITEM_CUT))
                    value = Json{{"cut", value}};
                break;
            case ItemType::bytes:
                value = is_words ? words_json(item.bytes) : Json{{"hex", in_hexadecimal(item.bytes)}};
                break;
            case ItemType::data:
                if (value.is_object())
                    value.update(data_json(item));  // of a text that was cut
                else
                    value = data_json(item);
                break;
        }
    }

    const EntryPoint &called_;
    const HandleNaming &naming_;
};

}  // namespace

Json text_json(std::string_view text) {
    return is_utf8(text) ? Json(std::string(text)) : Json{{"hex", in_hexadecimal(text)}};
}

CallJson call_json(const Event &event, const HandleNaming &naming) {
    if (event.called == nullptr)
        return {};
    CallBuilder builder(*event.called, naming);
    ItemCursor items(event.record.items);
    for (ItemView item; items.next(item);)
        builder.add(item);
    return builder.result;
}
