#include "simhost/check/list_check.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>

#include "sim/ascii.h"

namespace {

bool is_number(const std::string &text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char byte) { return is_ascii_digit(byte); });
}

// A name as a text and the number that it ends in.
struct Numbered {
    std::string prefix;
    std::string number;
};

Numbered number_at_end(const std::string &name) {
    size_t begin = name.size();
    while (begin > 0 && is_ascii_digit(name[begin - 1]))
        --begin;
    return {name.substr(0, begin), name.substr(begin)};
}

bool is_rising(const std::string &from, const std::string &to) {
    return is_number(from) && is_number(to) && from.size() <= 9 && to.size() <= 9 && std::stol(from) < std::stol(to);
}

// "g1-g9" and "g1..9" are ranges for most people, and "g1-9" is one when nothing else is in the list: "rack1-2" may well
// be a name among others.
bool looks_like_range(const std::string &name, bool is_only_one) {
    const size_t dots = name.find("..");
    const size_t middle = dots != std::string::npos ? dots : name.find('-');
    if (middle == std::string::npos || middle == 0)
        return false;
    const Numbered from = number_at_end(name.substr(0, middle));
    const Numbered to = number_at_end(name.substr(middle + (dots != std::string::npos ? 2 : 1)));
    if (!is_rising(from.number, to.number) || (!to.prefix.empty() && to.prefix != from.prefix))
        return false;
    return is_only_one || dots != std::string::npos || !to.prefix.empty();
}

bool means_all(std::string name) {
    for (char &byte : name)
        byte = static_cast<char>(is_ascii_letter(byte) ? byte | 0x20 : byte);
    static constexpr const char *words[] = {"all", "any", "anyone", "everyone", "everybody", "none", "nobody"};
    return std::find(std::begin(words), std::end(words), name) != std::end(words);
}

}  // namespace

void check_meaning(const std::vector<ListedName> &names, const char *what, Findings &findings) {
    const bool is_only_one = names.size() == 1;
    const bool are_hosts = std::string(what) == "host";
    for (const ListedName &name : names) {
        if (looks_like_range(name.name, is_only_one))
            findings.warning(
                Rule::range_as_name, name.place,
                fmt::format("{} is the name of one {}: there are no ranges", in_apostrophes(name.name), what),
                "list every name");
        else if (are_hosts && means_all(name.name))
            findings.warning(Rule::word_as_host, name.place,
                             fmt::format("{} is the name of one host, no word for several", in_apostrophes(name.name)),
                             "list every host that may use the pool");
        else if (is_only_one && !are_hosts && is_number(name.name) && name.name[0] != '0' && name.name != "1")
            findings.warning(Rule::count_as_name, name.place,
                             fmt::format("this is one {} of the name {}, not a number of {}s", what,
                                         in_apostrophes(name.name), what),
                             fmt::format("list the names of the {}s", what));
    }
}
