#include "simhost/check/rule_pages.h"

#include <fmt/format.h>

#include <regex>

#include "simhost/check/check_page.h"

std::string rule_page(Rule rule) {
    const std::string page = check_page;
    const std::string heading = fmt::format("### `{}`\n", rule_id(rule));
    const size_t begin = page.find(heading);
    if (begin == std::string::npos)
        return "";
    const size_t end = page.find("\n#", begin + heading.size());
    std::string text =
        page.substr(begin + heading.size(), end == std::string::npos ? end : end - begin - heading.size());
    while (!text.empty() && text.back() == '\n')
        text.pop_back();
    text = std::regex_replace(text, std::regex(R"(\[((?:[^\[\]]|\n)*)\]\([^()]*\))"), "$1");  // links
    text = std::regex_replace(text, std::regex(R"(\*Do:\*)"), "Do:");
    return fmt::format("{}\n{}\n", rule_id(rule), text);
}
