#include "simhost/report/capabilities.h"

#include <cstddef>

namespace {

struct KnownWord {
    size_t offset;
    uint32_t every_server;
    uint32_t disk_arrays;
};

constexpr KnownWord known_words[] = {
    {1040, 0x10040100, 0}, {1044, 0x00010040, 0},          {1048, 0x01000010, 0}, {1052, 0x00401004, 0},
    {1056, 0x40000401, 0}, {1060, 0x10040100, 0},          {1064, 0x04010040, 0}, {1068, 0x00004010, 0},
    {1076, 0x40000000, 0}, {1088, 0x01000000, 0},          {1164, 0, 0x04000000}, {1168, 0, 0x00004010},
    {1172, 0, 0x00001004}, {1176, 0x00000400, 0x80100000}, {1180, 0, 0x00000100},
};

KnownWord known_word(size_t offset) {
    for (const KnownWord &word : known_words)
        if (word.offset == offset)
            return word;
    return {offset, 0, 0};
}

std::string announcers(uint32_t value, const KnownWord &known) {
    std::string text;
    const auto add = [&text](const char *who) { text += (text.empty() ? "" : ", ") + std::string(who); };
    if ((value & known.every_server) != 0)
        add("every server");
    if ((value & known.disk_arrays) != 0)
        add("disk arrays");
    if ((value & ~(known.every_server | known.disk_arrays)) != 0)
        add("unknown");
    return text;
}

}  // namespace

std::vector<CapabilityWord> capability_words(const sts_server_info_t &info) {
    std::vector<CapabilityWord> words;
    for (size_t i = 0; i < STS_CAPABILITY_WORDS; ++i) {
        const uint32_t value = info.capabilities[i];
        if (value == 0)
            continue;
        const KnownWord known = known_word(offsetof(sts_server_info_t, capabilities) + i * sizeof value);
        words.push_back({known.offset, value, known.every_server, known.disk_arrays, announcers(value, known)});
    }
    return words;
}

std::string bit_list(uint32_t value) {
    std::string text;
    for (int bit = 0; bit < 32; ++bit)
        if ((value >> bit & 1U) != 0)
            text += (text.empty() ? "" : ", ") + std::to_string(bit);
    return text;
}
