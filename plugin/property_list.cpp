#include "plugin/property_list.h"

#include <cstddef>
#include <utility>
#include <vector>

namespace {

// Enough that ordinary lists never grow.
constexpr size_t initial_slots = 256;

using String = STSPropertyList::String;

std::vector<String> split(const String &text) {
    std::vector<String> items;
    size_t start = 0;
    while (true) {
        const size_t end = text.find(';', start);
        if (end == String::npos)
            break;
        items.emplace_back(text.c_str() + start, end - start);
        start = end + 1;
    }
    items.emplace_back(text.c_str() + start, text.length() - start);
    return items;
}

}  // namespace

STSPropertyList::STSPropertyList(const String &text) {
    const std::vector<String> items = split(text);
    // A binding goes to the front of the map: from the last item to the first, the map ends in the order of the text.
    for (auto item = items.rbegin(); item != items.rend(); ++item) {
        const size_t equals = item->find('=');
        const String value = equals == String::npos ? *item : String(item->substring(equals + 1));
        add(item->substring(0, equals), value);
    }
}

STSPropertyList::Map &STSPropertyList::map() {
    if (m_map == nullptr)
        m_map = std::make_unique<Map>(initial_slots);
    return *m_map;
}

int STSPropertyList::add(String key, String value) { return map().bind(std::move(key), std::move(value)); }

int STSPropertyList::find(const String &key, String &value) const {
    return m_map != nullptr && m_map->find(key, value) == 0 ? 0 : -1;
}

STSPropertyList::String STSPropertyList::to_string() const {
    String text;
    if (m_map == nullptr)
        return text;
    size_t length = 0;
    for (Map::iterator entry = m_map->begin(); entry != m_map->end(); ++entry)
        length += (*entry).ext_id_.length() + (*entry).int_id_.length() + 2;
    if (length == 0)
        return text;
    text.fast_resize(length);  // all room at once; the text is still empty
    for (Map::iterator entry = m_map->begin(); entry != m_map->end(); ++entry) {
        if (entry != m_map->begin())
            text += ";";
        text += (*entry).ext_id_;
        text += "=";
        text += (*entry).int_id_;
    }
    return text;
}

STSPropertyList::Iterator STSPropertyList::iterator() { return Iterator(map()); }
