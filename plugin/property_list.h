// A dictionary of texts with a one-line text form: key=value items joined by ";".
#pragma once

#include <memory>

#include "sim/name_map.h"

// Keys and values are kept as given: no trimming, no quoting, so neither can hold a ";". A key occurs once; its first
// binding stays. Additions, look-ups and destruction lock the list; to_string and iterator do not.
class STSPropertyList {
public:
    using String = Name;
    using Map = NameMap<String>;
    using Iterator = Map::iterator;

    // An empty list.
    STSPropertyList() = default;

    // Reads the text form. An item without "=" is both key and value; an empty item is an empty key with an empty
    // value. Of a repeated key the last item stays, in its place.
    explicit STSPropertyList(const String &text);

    STSPropertyList(const STSPropertyList &) = delete;
    STSPropertyList &operator=(const STSPropertyList &) = delete;

    // Returns 0, 1 when the key is present (its value stays), or -1 when the lock cannot be taken. Throws std::bad_alloc,
    // with the list as it was.
    int add(String key, String value);

    // Returns 0 and sets value, or -1 for an absent key, with value untouched.
    int find(const String &key, String &value) const;

    // The text form: additions come out most recent first, a list read from text in the order of the text.
    String to_string() const;

    // From the front, in the order of to_string.
    Iterator iterator();

private:
    Map &map();

    std::unique_ptr<Map> m_map;  // made by the first binding
};
