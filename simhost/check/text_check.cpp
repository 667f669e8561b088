#include "simhost/check/text_check.h"

#include <fmt/format.h>

#include <algorithm>

#include "base/characters.h"
#include "sim/ascii.h"

namespace {

constexpr size_t longest_component = 255;

bool is_quote(char byte) { return byte == '"' || byte == '\'' || byte == '`'; }

void check_hidden(const Value &value, const std::string &said, Findings &findings) {
    for (size_t i = 0; i < said.size();) {
        const Character character = first_character(std::string_view(said).substr(i));
        const char *name = character.is_valid ? hidden_name(character.code) : nullptr;
        if (name != nullptr) {
            findings.error(Rule::hidden_character, value.place(i, i + character.bytes),
                           fmt::format("the value holds {} (U+{:04X}), which belongs to it", name,
                                       static_cast<uint32_t>(character.code)),
                           "type the value anew");
            return;
        }
        i += character.bytes;
    }
}

void check_quotes(const Value &value, const std::string &said, Findings &findings) {
    if (said.empty() || (!is_quote(said.front()) && !is_quote(said.back())))
        return;
    const bool is_enclosed = said.size() > 2 && is_quote(said.front()) && said.back() == said.front() &&
                             std::count_if(said.begin(), said.end(), is_quote) == 2;
    const std::string inner = is_enclosed ? said.substr(1, said.size() - 2) : "";
    Finding &finding = findings.error(Rule::quoted_value, value.place(), "quotes belong to the value",
                                      is_enclosed ? help_to_write(inner + ';') : "take the quotes away");
    if (is_enclosed)
        finding.edits = {{value.place(said.size() - 1, said.size()), ""}, {value.place(0, 1), ""}};
}

// What a shell or another system would make of a path, "" when nothing.
std::string not_expanded(const std::string &path) {
    if (path[0] == '~')
        return "'~' is the name of a directory here, not anybody's home";
    if (path.find("://") != std::string::npos)
        return "this is no path: addresses are not understood";
    if (path.size() >= 2 && is_ascii_letter(path[0]) && path[1] == ':' &&
        (path.size() == 2 || path[2] == '\\' || path[2] == '/'))
        return "drive letters belong to another system";
    if (path.compare(0, 2, "\\\\") == 0)
        return "shares of another system are not understood";
    const size_t dollar = path.find('$');
    if (dollar != std::string::npos && dollar + 1 < path.size() &&
        (is_ascii_letter(path[dollar + 1]) || path[dollar + 1] == '_' || path[dollar + 1] == '{' ||
         path[dollar + 1] == '('))
        return "variables are not expanded: '$' belongs to the path";
    const size_t percent = path.find('%');
    if (percent != std::string::npos && path.find('%', percent + 2) != std::string::npos &&
        is_ascii_letter(path[percent + 1]))
        return "variables are not expanded: '%' belongs to the path";
    return "";
}

// Calls take with each component and where it begins.
template <class Take>
void for_each_component(const std::string &path, Take take) {
    for (size_t begin = 0; begin <= path.size();) {
        const size_t end = std::min(path.find('/', begin), path.size());
        take(begin, path.substr(begin, end - begin));
        begin = end + 1;
    }
}

}  // namespace

void check_characters(const Value &value, Findings &findings) {
    const std::string said = value.said();
    check_hidden(value, said, findings);
    check_quotes(value, said, findings);
}

void check_storage_dir(const Value &value, const std::string &path, bool makes_image_texts, Findings &findings) {
    if (path.empty() || is_quote(path[0]))
        return;
    if (const std::string text = not_expanded(path); !text.empty()) {
        findings.error(Rule::not_expanded, value.place(), text, "write the path as it is, from '/' on");
        return;
    }
    bool has_dots = false;
    for_each_component(path, [&](size_t begin, const std::string &component) {
        has_dots = has_dots || component == "." || component == "..";
        const Place place = value.place(begin, begin + component.size());
        if (component.size() > longest_component)
            findings.error(Rule::path_too_long, place,
                           fmt::format("a directory's name has {} bytes; {} fit", component.size(), longest_component));
        if (component == unfinished_images)
            findings.error(
                Rule::directory_name, place,
                fmt::format("no images can be kept here: {} is what the image library calls its directories of "
                            "unfinished ones",
                            in_apostrophes(component)));
    });
    if (path[0] == '/')
        return;
    if (makes_image_texts && has_dots)
        findings.error(Rule::relative_path, value.place(),
                       "the image library takes no relative path with '.' or '..': all image calls fail",
                       "begin the path with '/'");
    else
        findings.warning(Rule::relative_path, value.place(),
                         "this directory depends on where the process that loads the plug-in runs",
                         "begin the path with '/'");
}
