#include "simhost/check/value.h"

#include <fmt/format.h>

#include <cstdlib>
#include <memory>

#include "sim/ascii.h"
#include "sim/name_lists.h"
#include "sim/parse_size.h"

namespace {

constexpr size_t longest_name = name_size - 1;
constexpr size_t longest_help = 60;

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

void check_missing_semicolon(const Value &value, Findings &findings) {
    if (value.kind() == ValueKind::full_text || value.goes_on())
        return;
    const std::string read = meaning(value.kind(), value.text());
    const std::string meant = meaning(value.kind(), value.text() + ";");
    const std::string help = value.text().size() > longest_help ? "" : fmt::format("write {};", value.text());
    const Place end = value.place(value.text().size() - 1, value.text().size());
    if (read == meant)
        findings.warning(Rule::missing_semicolon, end, "the ';' at the end of the value is missing", help);
    else if (value.kind() == ValueKind::size)
        findings.error(
            Rule::missing_semicolon, value.place(),
            fmt::format("without a ';' behind it the unit is not looked at: {} is {}", quoted(value.text()), read),
            help);
    else
        findings.error(Rule::missing_semicolon, end,
                       fmt::format("without a ';' the value loses its last character: it is read as {}", quoted(read)),
                       help);
}

void check_after_semicolon(const Value &value, Findings &findings) {
    const size_t said = value.said_size();
    const std::string read = meaning(value.kind(), value.text());
    const std::string meant = meaning(value.kind(), value.text().substr(0, said + 1));
    const Place rest = value.place(said + 1, value.text().size());
    if (read == meant)
        findings.warning(Rule::after_semicolon, rest,
                         "what stands behind the ';' is dropped; a line holds one key and one value");
    else
        findings.error(Rule::after_semicolon, rest,
                       fmt::format("a ';' in the middle does not end the value: it is read as {}", quoted(read)),
                       "put what follows on a line of its own");
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
        findings.error(Rule::blank_in_value, value.place(from, to),
                       fmt::format("white space is dropped: this is read as {}", quoted(said.substr(from, to - from))),
                       is_list ? "put a ',' between two names; no name can hold a blank" : "");
        i = to;
    }
}

// One name of a value, from first up to last.
ListedName check_one_name(const Value &value, size_t first, size_t last, const char *what, Findings &findings) {
    const std::string raw = value.text().substr(first, last - first);
    const std::string name = kept_name(raw);
    const std::string said = raw.substr(0, raw.find(';'));
    const Place place = value.place(first, first + said.size());
    const bool is_behind_end = first > value.said_size();
    if (is_behind_end || name == said) {
        if (!is_behind_end && name.empty())
            findings.error(Rule::empty_name, value.place(first, last), fmt::format("a {} without a name", what),
                           first > 0 ? "take the ',' away" : "");
    } else if (name.empty()) {
        findings.error(
            Rule::empty_name, place,
            fmt::format("{} begins with a byte that no name may hold, so the {}'s name is empty", quoted(said), what),
            "names hold letters, digits, '_', '-' and '.'");
    } else if (name.size() == longest_name && kept_name(said.substr(longest_name)) != "") {
        findings.error(Rule::name_too_long, place,
                       fmt::format("names are cut to {} bytes: this one of {} bytes is read as {}", longest_name,
                                   said.size(), quoted(name)));
    } else {
        findings.error(Rule::name_cut, value.place(first + name.size(), first + name.size() + 1),
                       fmt::format("no name may hold this byte: {} is read as {}", quoted(said), quoted(name)),
                       "names hold letters, digits, '_', '-' and '.'");
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

// "2TB" and "2TiB" are what people write who mean "2T".
std::string unit_help(const std::string &digits, const std::string &unit) {
    const std::string rest = unit.substr(1);
    if (unit_shift(unit[0]) > 0 && (rest == "B" || rest == "b" || rest == "iB"))
        return fmt::format("write {}{};", digits, unit[0]);
    return sizes_help();
}

void check_number(const Value &value, const std::string &digits, const std::string &unit, Findings &findings) {
    const std::string read = meaning(ValueKind::size, value.text());
    uint64_t number = 0;
    const bool fits = reads_number(digits, number);
    const Place place = value.place(0, value.said_size());
    if (!fits || number > INT32_MAX) {
        findings.error(Rule::size_too_large, place,
                       fmt::format("the number in front of the unit has 31 bits: {} is {}", quoted(value.said()), read),
                       "use a larger unit");
        return;
    }
    const int shift = unit.empty() ? -1 : unit_shift(unit[0]);
    if (shift > 0 && number > (UINT64_MAX >> shift))
        findings.error(Rule::size_too_large, place,
                       fmt::format("this is more than 64 bits hold: {} is {}", quoted(value.said()), read));
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

bool Value::blank_before(size_t index) const {
    return m_line->offsets[m_begin + index] != m_line->offsets[m_begin + index - 1] + 1;
}

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
                findings.warning(Rule::empty_item, value.place(first, first + 1), "an empty item of a list vanishes",
                                 "take the ',' away");
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
        if (name.name == "." || name.name == "..")
            findings.error(
                Rule::directory_name, name.place,
                fmt::format("the directory of {} {} is {}", what, quoted(name.name),
                            name.name == "." ? "the storage directory itself" : "the one above the storage directory"));
    return names;
}

uint64_t check_size(const Value &value, Findings &findings) {
    const uint64_t bytes = parse_size(value.text().c_str());
    const std::string said = value.said();
    if (said.empty()) {
        findings.error(Rule::empty_value, value.place(), "no size, which counts as 0", sizes_help());
        return bytes;
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
                       fmt::format("{} is not a number and counts as {}", quoted(said), read), sizes_help());
    } else if (!knows_unit && is_ascii_letter(unit[0])) {
        findings.error(Rule::unknown_unit, value.place(end, said.size()),
                       fmt::format("unknown unit {}: {} is {}", quoted(unit), quoted(said), read),
                       unit_help(digits, unit));
    } else if (!knows_unit) {
        findings.error(Rule::size_not_a_number, value.place(end, said.size()),
                       fmt::format("the number ends here: {} is {}", quoted(said), read), sizes_help());
    } else if (said[0] == '-') {
        findings.error(Rule::size_negative, value.place(),
                       fmt::format("a size cannot be negative: {} is {}", quoted(said), read));
    } else {
        check_ending(value, findings);
        check_number(value, digits, unit, findings);
    }
    return bytes;
}

std::string check_text(const Value &value, Findings &findings) {
    std::string text = kept_text(value.kind(), value.text());
    if (value.text().empty())
        return text;
    check_ending(value, findings);
    check_blanks(value, findings);
    return text;
}
