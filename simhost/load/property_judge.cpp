#include "simhost/load/property_judge.h"

#include <fmt/format.h>

#include <cstring>

#include "base/escaped_text.h"
#include "base/text_field.h"

namespace {

template <size_t Size>
std::string changed_text(const char *what, const char (&before)[Size], const char (&now)[Size]) {
    if (std::strncmp(before, now, Size) == 0)
        return {};
    return fmt::format("{} is {}, and was {}", what, in_quotes(field_text(now)), in_quotes(field_text(before)));
}

std::string changed_number(const char *what, uint64_t before, uint64_t now) {
    return before == now ? "" : fmt::format("{} is {}, and was {}", what, now, before);
}

}  // namespace

std::string changed_property(const sts_lsu_info_v9_t &before, const sts_lsu_info_v9_t &now) {
    if (std::string text = changed_text("lsu_name", before.lsu_name, now.lsu_name); !text.empty())
        return text;
    if (std::string text = changed_text("server_name", before.server_name, now.server_name); !text.empty())
        return text;
    if (std::string text = changed_number("lsu_class", before.lsu_class, now.lsu_class); !text.empty())
        return text;
    if (std::string text = changed_number("class_qualifier", before.class_qualifier, now.class_qualifier);
        !text.empty())
        return text;
    if (std::string text = changed_number("flags", before.flags, now.flags); !text.empty())
        return text;
    return changed_number("block_size_bytes", before.block_size_bytes, now.block_size_bytes);
}

std::string changed_property(const sts_server_info_t &before, const sts_server_info_t &now) {
    if (std::string text = changed_text("server_name", before.server_name, now.server_name); !text.empty())
        return text;
    if (std::string text = changed_number("server_type", before.server_type, now.server_type); !text.empty())
        return text;
    for (size_t i = 0; i < STS_CAPABILITY_WORDS; ++i)
        if (before.capabilities[i] != now.capabilities[i])
            return fmt::format("word {} of the capabilities is {:#x}, and was {:#x}", i, now.capabilities[i],
                               before.capabilities[i]);
    return {};
}
