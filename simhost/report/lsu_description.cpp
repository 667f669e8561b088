#include "simhost/report/lsu_description.h"

#include <fmt/format.h>

#include <sstream>

#include "base/text_field.h"

std::string describe_lsu_class(uint32_t lsu_class) {
    switch (lsu_class) {
        case STS_LSU_CLASS_PATH:
            return "1 (path)";
        case STS_LSU_CLASS_DYNAMIC:
            return "2 (disk of a pool)";
        case STS_LSU_CLASS_POOL:
            return "3 (pool)";
        default:
            return fmt::format("{} (unknown)", lsu_class);
    }
}

std::string describe_lsu_flags(uint32_t flags) {
    std::string names;
    const auto add = [&names](const std::string &name) { names += (names.empty() ? "" : ", ") + name; };
    if ((flags & STS_LSU_FLAG_STANDARD) != 0)
        add("standard");
    if ((flags & STS_LSU_FLAG_PATH) != 0)
        add("path");
    const uint32_t rest = flags & ~uint32_t{STS_LSU_FLAG_STANDARD | STS_LSU_FLAG_PATH};
    if (rest != 0)
        add(fmt::format("unknown {:#x}", rest));
    return fmt::format("{:#x} ({})", flags, names.empty() ? "none" : names);
}

std::vector<std::pair<std::string, std::string>> lsu_properties(const std::string &property_text) {
    std::vector<std::pair<std::string, std::string>> properties;
    std::istringstream items(property_text);
    for (std::string item; std::getline(items, item, ';');) {
        const size_t equals = item.find('=');
        if (equals != std::string::npos)
            properties.emplace_back(item.substr(0, equals), item.substr(equals + 1));
    }
    return properties;
}

std::string lsu_property(const sts_lsu_info_v9_t &info, const std::string &key) {
    for (const auto &[name, value] : lsu_properties(field_text(info.property_text)))
        if (name == key)
            return value;
    return "";
}

Json lsu_to_json(const std::string &asked_name, const sts_lsu_info_v9_t &info) {
    Json properties = Json::object();
    for (const auto &[key, value] : lsu_properties(field_text(info.property_text)))
        properties[key] = value;
    return {{"lsu", asked_name},
            {"name", field_text(info.lsu_name)},
            {"server_name", field_text(info.server_name)},
            {"class", info.lsu_class},
            {"class_qualifier", info.class_qualifier},
            {"flags", info.flags},
            {"block_size_bytes", info.block_size_bytes},
            {"capacity_bytes", info.capacity_bytes},
            {"used_bytes", info.used_bytes},
            {"properties", properties}};
}
