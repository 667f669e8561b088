#include "stsimage/image_name.h"

#include <algorithm>
#include <cstring>

#include "stsimage/last_error.h"
#include "stsimage/quoted_text.h"

namespace stsimage {

namespace {

constexpr std::string_view suffix = ".stsimg";
static_assert(STSIMG_NAME_MAX + suffix.size() <= 255, "the longest name of a file");

// Null when the name is acceptable.
const char *objection(std::string_view name) {
    if (name.empty())
        return "is empty";
    if (name.size() > STSIMG_NAME_MAX)
        return "is longer than 240 bytes";
    if (name == "." || name == "..")
        return "is a directory's";
    if (name.find('/') != name.npos)
        return "has a '/'";
    if (has_control_character(name))
        return "has a control character";
    return nullptr;
}

}  // namespace

bool has_control_character(std::string_view text) {
    return std::any_of(text.begin(), text.end(), [](char character) {
        const auto byte = static_cast<unsigned char>(character);
        return byte < 0x20 || byte == 0x7f;
    });
}

int32_t name_of(const sts_image_definition_t &definition, std::string_view &out_name) {
    const std::string_view name(definition.name, strnlen(definition.name, sizeof definition.name));
    const char *trouble = name.size() == sizeof definition.name ? "is not terminated in its field" : objection(name);
    if (trouble != nullptr)
        return fail(STSIMG_E_INVALID_NAME, "the image name %s %s", QuotedText(name).c_str(), trouble);
    out_name = name;
    return 0;
}

std::string file_of(std::string_view name) { return std::string(name).append(suffix); }

bool name_of_file(std::string_view file, std::string_view &out_name) {
    if (file.size() <= suffix.size() || file.substr(file.size() - suffix.size()) != suffix)
        return false;
    const std::string_view name = file.substr(0, file.size() - suffix.size());
    if (objection(name) != nullptr)
        return false;
    out_name = name;
    return true;
}

}  // namespace stsimage
