// The property list's text form, against a plain reading of the same rules.
#include <algorithm>
#include <utility>
#include <vector>

#include "plugin/property_list.h"
#include "sim/name_types.h"
#include "tests/fuzz/input.h"

namespace {

using Entry = std::pair<std::string, std::string>;

// Of a repeated key the last item stays, in its place.
std::vector<Entry> expected_entries(const std::string &text) {
    std::vector<Entry> entries;
    size_t start = 0;
    while (start <= text.size()) {
        const size_t end = std::min(text.find(';', start), text.size());
        const std::string item = text.substr(start, end - start);
        const size_t equals = item.find('=');
        const std::string key = item.substr(0, equals);
        const auto same_key = [&](const Entry &entry) { return entry.first == key; };
        entries.erase(std::remove_if(entries.begin(), entries.end(), same_key), entries.end());
        entries.emplace_back(key, equals == std::string::npos ? item : item.substr(equals + 1));
        start = end + 1;
    }
    return entries;
}

std::string expected_text(const std::vector<Entry> &entries) {
    std::string text;
    for (const Entry &entry : entries)
        text += (text.empty() && &entry == &entries.front() ? "" : ";") + entry.first + "=" + entry.second;
    return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string text = c_string_of(data, size);
    const std::vector<Entry> expected = expected_entries(text);
    STSPropertyList list(Name(text.c_str()));
    const std::string written = c_text(list.to_string());
    EXPECT(written == expected_text(expected));
    EXPECT(c_text(STSPropertyList(Name(written.c_str())).to_string()) == written);

    auto entry = expected.begin();
    for (STSPropertyList::Iterator walk = list.iterator(); walk.done() == 0; ++walk, ++entry) {
        EXPECT(entry != expected.end());
        EXPECT(entry->first == c_text((*walk).ext_id_) && entry->second == c_text((*walk).int_id_));
    }
    EXPECT(entry == expected.end());

    for (const auto &[key, value] : expected) {
        Name found;
        EXPECT(list.find(key.c_str(), found) == 0 && value == c_text(found));
        EXPECT(list.add(key.c_str(), "other") == 1);
    }
    Name untouched("untouched");
    EXPECT(list.find("a;key;that;no;text;gives", untouched) == -1 && untouched == "untouched");
    EXPECT(list.add("a;key;that;no;text;gives", "v") == 0);
    EXPECT(c_text(list.to_string()) == "a;key;that;no;text;gives=v" + (";" + written));
    return 0;
}
