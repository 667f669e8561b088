#include "simhost/check/value.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

#include "sim/ascii.h"
#include "sim/name_lists.h"
#include "sim/parse_size.h"

namespace {

constexpr size_t longest_name = name_size - 1;

std::string kept_name(const std::string &raw) { return c_text(purified_name(raw.c_str())); }

std::string kept_text(ValueKind kind, const std::string &text) {
    switch (kind) {
        case ValueKind::path:
            return text.substr(0, text.find(';'));
        case ValueKind::full_text:
            return text;
        default:
            return text.substr(0, text.empty() ? 0 : text.size() - 1);
    }
}

// What the plug-in makes of a value, as a text to compare and to show.
std::string meaning(ValueKind kind, const std::string &text) {
    switch (kind) {
        case ValueKind::name:
            return kept_name(text);
        case ValueKind::list: {
            const std::unique_ptr<NameList> names(tokenize(text.c_str(), ","));
            return joined_names(names.get());
        }
        case ValueKind::size:
            return counted(parse_size(text.c_str()), "byte");
        default:
            return kept_text(kind, text);
    }
}

// The value with the ';' that it lacks. Commas in front of that would be a name without a name.
std::string completed(const Value &value) {
    std::string text = value.text();
    while (value.kind() == ValueKind::list && !text.empty() && text.back() == ',')
        text.pop_back();
    return text + ';';
}

void check_missing_semicolon(const Value &value, Findings &findings) {
    if (value.kind() == ValueKind::full_text || value.goes_on())
        return;
    const std::string meant_text = completed(value);
    const std::string read = meaning(value.kind(), value.text());
    const std::string meant = meaning(value.kind(), meant_text);
    const std::string help = help_to_write(meant_text);
    const size_t size = value.text().size();
    const Place end = value.place(size - 1, size);
    const size_t kept = meant_text.size() - 1;
    const Edit edit = kept == size ? Edit{value.place_behind(), ";"} : Edit{value.place(kept, size), ";"};
    if (read == meant)
        findings.warning(Rule::missing_semicolon, end, "the ';' at the end of the value is missing", help).edits = {
            edit};
    else if (value.kind() == ValueKind::size)
        findings
            .error(Rule::missing_semicolon, value.place(),
                   fmt::format("without a ';' behind it the unit is not looked at: {} is {}",
                               in_apostrophes(value.text()), read),
                   help)
            .edits = {edit};
    else
        findings
            .error(
                Rule::missing_semicolon, end,
                fmt::format("without a ';' the value loses its last character: it is read as {}", in_apostrophes(read)),
                help)
            .edits = {edit};
}

// Whether a text begins with a key and '='.
bool begins_with_key(const std::string &text) {
    const size_t equals = text.find('=');
    if (equals == 0 || equals == std::string::npos)
        return false;
    return std::all_of(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(equals),
                       [](char byte) { return is_ascii_letter(byte) || byte == '_'; });
}

// Whether what stands behind the ';' of a list goes on with it: names, not a remark of several words.
bool continues_list(const Value &value) {
    const size_t first = value.said_size() + 1;
    const std::string &text = value.text();
    bool has_name = false;
    for (size_t i = first; i < text.size(); ++i) {
        const bool is_separator = text[i] == ',' || text[i] == ';';
        if (!is_separator && kept_name(std::string(1, text[i])).empty())
            return false;
        if (i > first && value.blank_before(i) && !is_separator && text[i - 1] != ',' && text[i - 1] != ';')
            return false;
        has_name = has_name || !is_separator;
    }
    return value.kind() == ValueKind::list && has_name;
}

// The list with ',' between all of its names.
std::string with_commas(const std::string &text) {
    std::string list;
    bool is_between = false;
    for (const char byte : text) {
        if (byte == ',' || byte == ';') {
            is_between = !list.empty();
            continue;
        }
        list += is_between ? std::string{',', byte} : std::string(1, byte);
        is_between = false;
    }
    return list + ';';
}

void check_after_semicolon(const Value &value, Findings &findings) {
    const size_t said = value.said_size();
    const std::string &text = value.text();
    const std::string read = meaning(value.kind(), text);
    const std::string meant = meaning(value.kind(), text.substr(0, said + 1));
    const std::string behind = text.substr(said + 1);
    const Place rest = value.place(said + 1, text.size());
    if (begins_with_key(behind)) {
        const std::string key = behind.substr(0, behind.find('='));
        findings
            .error(Rule::after_semicolon, rest,
                   read == meant
                       ? fmt::format("a line holds one key and one value: this {} is lost", in_apostrophes(key))
                       : fmt::format("a line holds one key and one value: this {} is lost, and the value in "
                                     "front of it is read as {}",
                                     in_apostrophes(key), in_apostrophes(read)),
                   fmt::format("put {} on a line of its own", in_apostrophes(key)))
            .edits = {{{rest.line, rest.column, 0}, "\n"}};
    } else if (continues_list(value)) {
        const std::string mended = with_commas(text);
        findings
            .error(Rule::after_semicolon, rest,
                   fmt::format("a ';' ends a name, but does not begin another: the list is read as {}",
                               in_apostrophes(read)),
                   "put a ',' between two names: " + help_to_write(mended))
            .edits = {{value.place(0, text.size()), mended}};
    } else if (read == meant) {
        findings.warning(Rule::after_semicolon, rest,
                         "what stands behind the ';' is dropped; a line holds one key and one value");
    } else {
        findings.error(
            Rule::after_semicolon, rest,
            fmt::format("a ';' in the middle does not end the value: it is read as {}", in_apostrophes(read)),
            "put what follows on a line of its own");
    }
}

// What a person would see wrong in a value's end.
void check_ending(const Value &value, Findings &findings) {
    if (value.said_size() == value.text().size())
        check_missing_semicolon(value, findings);
    else if (value.said_size() + 1 < value.text().size())
        check_after_semicolon(value, findings);
}

void check_blanks(const Value &value, Findings &findings) {
    const std::string said = value.said();
    const bool is_list = value.kind() == ValueKind::list;
    for (size_t i = 1; i < said.size(); ++i) {
        if (!value.blank_before(i) || (is_list && (said[i] == ',' || said[i - 1] == ',')))
            continue;
        size_t from = i;
        size_t to = i;
        while (from > 0 && !(is_list && said[from - 1] == ','))
            --from;
        while (to < said.size() && !(is_list && said[to] == ','))
            ++to;
        findings.error(
            Rule::blank_in_value, value.place(from, to),
            fmt::format("white space is dropped: this is read as {}", in_apostrophes(said.substr(from, to - from))),
            is_list ? "put a ',' between two names; no name can hold a blank" : "");
        i = to;
    }
}

// What to do about a byte that no name may hold.
std::string name_help(const std::string &said) {
    if (said.find_first_of("*?") != std::string::npos)
        return "there are no wildcards: list every name";
    if (said.find_first_of("[{") != std::string::npos)
        return "there are no ranges: list every name";
    if (said.find_first_of("'\"") != std::string::npos)
        return "names stand without quotes";
    return "names hold letters, digits, '_', '-' and '.'";
}

// One name of a value, from first up to last.
ListedName check_one_name(const Value &value, size_t first, size_t last, const char *what, Findings &findings) {
    const std::string raw = value.text().substr(first, last - first);
    const std::string name = kept_name(raw);
    const std::string said = raw.substr(0, raw.find(';'));
    const Place place = value.place(first, first + said.size());
    const bool is_behind_end = first > value.said_size();
    if (is_behind_end || name == said) {
        if (!is_behind_end && name.empty()) {
            Finding &finding =
                findings.error(Rule::empty_name, value.place(first, last), fmt::format("a {} without a name", what),
                               first > 0 ? "take the ',' away" : "");
            if (first > 0)
                finding.edits = {{value.place(first - 1, first), ""}};
        }
    } else if (name.empty()) {
        findings.error(Rule::empty_name, place,
                       fmt::format("{} begins with a byte that no name may hold, so the {}'s name is empty",
                                   in_apostrophes(said), what),
                       name_help(said));
    } else if (name.size() == longest_name && kept_name(said.substr(longest_name)) != "") {
        findings.error(Rule::name_too_long, place,
                       fmt::format("names are cut to {} bytes: this one of {} bytes is read as {}", longest_name,
                                   said.size(), in_apostrophes(name)));
    } else {
        findings.error(
            Rule::name_cut, value.place(first + name.size(), first + name.size() + 1),
            fmt::format("no name may hold this byte: {} is read as {}", in_apostrophes(said), in_apostrophes(name)),
            name_help(said));
    }
    return {name, place};
}

std::string sizes_help() { return "write a whole number, then K, M, G, T or P if need be, then ';'"; }

// The number as a person reads it, saturated.
bool reads_number(const std::string &digits, uint64_t &number) {
    errno = 0;
    number = std::strtoull(digits.c_str(), nullptr, 10);
    return errno == 0;
}

int unit_shift(char unit) {
    static const std::string units = "KMGTP";
    const size_t index = units.find(static_cast<char>(unit & ~0x20));
    return index == std::string::npos ? -1 : static_cast<int>(10 * (index + 1));
}

// Whether a size comes out as it is written; what it is told as has 63 bits.
bool fits(const std::string &digits, int shift) {
    uint64_t number = 0;
    return reads_number(digits, number) && number <= INT32_MAX && number <= static_cast<uint64_t>(INT64_MAX) >> shift;
}

// "2TB" and "2TiB" are what people write who mean "2T".
std::string unit_help(const std::string &digits, const std::string &unit) {
    const std::string rest = unit.substr(1);
    const int shift = unit_shift(unit[0]);
    if (shift > 0 && fits(digits, shift) && (rest == "B" || rest == "b" || rest == "iB" || rest == "ib"))
        return fmt::format("write {}{};", digits, unit[0]);
    return sizes_help();
}

void check_number(const Value &value, const std::string &digits, const std::string &unit, Findings &findings) {
    const std::string read = meaning(ValueKind::size, value.text());
    uint64_t number = 0;
    const Place place = value.place(0, value.said_size());
    if (!reads_number(digits, number) || number > INT32_MAX) {
        findings.error(
            Rule::size_too_large, place,
            fmt::format("the number in front of the unit has 31 bits: {} is {}", in_apostrophes(value.said()), read),
            "use a larger unit");
        return;
    }
    const int shift = unit.empty() ? -1 : unit_shift(unit[0]);
    if (shift > 0 && number > static_cast<uint64_t>(INT64_MAX) >> shift)
        findings.error(Rule::size_too_large, place,
                       number > UINT64_MAX >> shift
                           ? fmt::format("this is more than 64 bits hold: {} is {}", in_apostrophes(value.said()), read)
                           : fmt::format("properties hold sizes of 63 bits: {} is told as {} bytes",
                                         in_apostrophes(value.said()), static_cast<int64_t>(number << shift)));
    else if (number == 0)
        findings.warning(Rule::size_zero, place, "a size of 0");
}

}  // namespace

Value::Value(const ReadLine &line, size_t begin, ValueKind kind)
    : m_line(&line), m_begin(begin), m_kind(kind), m_text(line.text.substr(begin)) {}

size_t Value::said_size() const {
    const size_t semicolon = m_text.find(';');
    return semicolon == std::string::npos ? m_text.size() : semicolon;
}

Place Value::place() const { return place(0, said_size()); }

ListedName check_name(const Value &value, const char *what, Findings &findings) {
    if (value.text().empty()) {
        findings.error(Rule::empty_name, value.place(), fmt::format("a {} without a name", what));
        return {"", value.place()};
    }
    check_ending(value, findings);
    check_blanks(value, findings);
    return check_one_name(value, 0, value.text().size(), what, findings);
}

std::vector<ListedName> check_names(const Value &value, const char *what, Findings &findings) {
    std::vector<ListedName> names;
    const std::string &text = value.text();
    if (text.empty()) {
        findings.warning(Rule::empty_value, value.place(), "an empty list");
        return names;
    }
    check_ending(value, findings);
    check_blanks(value, findings);
    for (size_t first = 0; first < text.size();) {
        const size_t last = std::min(text.find(',', first), text.size());
        if (last == first) {
            if (first < value.said_size())
                findings
                    .warning(Rule::empty_item, value.place(first, first + 1), "an empty item of a list vanishes",
                             "take the ',' away")
                    .edits = {{value.place(first, first + 1), ""}};
        } else {
            names.push_back(check_one_name(value, first, last, what, findings));
        }
        first = last + 1;
    }
    return names;
}

std::vector<ListedName> check_directory_names(const Value &value, const char *what, Findings &findings) {
    std::vector<ListedName> names = check_names(value, what, findings);
    for (const ListedName &name : names)
        check_directory_name(name, what, findings);
    return names;
}

void check_directory_name(const ListedName &name, const char *what, Findings &findings) {
    const bool is_dots = name.name == "." || name.name == "..";
    if (!is_dots && name.name != unfinished_images)
        return;
    if (!is_dots || std::string(what) == "pool")
        findings.error(Rule::directory_name, name.place,
                       fmt::format("the image library takes no {} of the name {}: all image calls for it fail", what,
                                   in_apostrophes(name.name)),
                       "choose another name");
    else
        findings.error(
            Rule::directory_name, name.place,
            fmt::format("the directory of {} {} is {}", what, in_apostrophes(name.name),
                        name.name == "." ? "the storage directory itself" : "the one above the storage directory"),
            "choose another name");
}

CheckedSize check_size(const Value &value, Findings &findings) {
    CheckedSize size{parse_size(value.text().c_str()), false};
    const std::string said = value.said();
    if (said.empty()) {
        findings.error(Rule::empty_value, value.place(), "no size, which counts as 0", sizes_help());
        return size;
    }
    const bool has_sign = said[0] == '-' || said[0] == '+';
    size_t end = has_sign ? 1 : 0;
    while (end < said.size() && is_ascii_digit(said[end]))
        ++end;
    const std::string digits = said.substr(has_sign ? 1 : 0, end - (has_sign ? 1 : 0));
    const std::string unit = said.substr(end);
    const std::string read = meaning(ValueKind::size, value.text());
    const bool is_one_letter = unit.size() == 1 && is_ascii_letter(unit[0]);
    const bool knows_unit = unit.empty() || (is_one_letter && (unit_shift(unit[0]) > 0 || (unit[0] & ~0x20) == 'B'));
    if (digits.empty()) {
        findings.error(Rule::size_not_a_number, value.place(),
                       fmt::format("{} is not a number and counts as {}", in_apostrophes(said), read), sizes_help());
    } else if (!knows_unit && is_ascii_letter(unit[0])) {
        findings.error(Rule::unknown_unit, value.place(end, said.size()),
                       fmt::format("unknown unit {}: {} is {}", in_apostrophes(unit), in_apostrophes(said), read),
                       unit_help(digits, unit));
    } else if (!knows_unit) {
        findings.error(Rule::size_not_a_number, value.place(end, said.size()),
                       fmt::format("the number ends here: {} is {}", in_apostrophes(said), read), sizes_help());
    } else if (said[0] == '-') {
        findings.error(Rule::size_negative, value.place(),
                       fmt::format("a size cannot be negative: {} is {}", in_apostrophes(said), read));
    } else {
        check_ending(value, findings);
        check_number(value, digits, unit, findings);
        uint64_t number = 0;
        size.is_as_written = reads_number(digits, number) && number <= INT32_MAX;
    }
    return size;
}

std::string check_text(const Value &value, Findings &findings) {
    std::string text = kept_text(value.kind(), value.text());
    if (value.text().empty())
        return text;
    check_ending(value, findings);
    check_blanks(value, findings);
    return text;
}
