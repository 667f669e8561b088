#include "filter/rules/sentence.h"

#include <cstdio>
#include <vector>

#include "filter/rules/effect_words.h"
#include "filter/rules/function_traits.h"
#include "filter/rules/quantity.h"
#include "filter/rules/status.h"
#include "filter/rules/word_reader.h"

namespace filter {

namespace {

std::string ordinal(uint64_t number) {
    static const char *const words[] = {"",      "first",   "second", "third", "fourth", "fifth",
                                        "sixth", "seventh", "eighth", "ninth", "tenth"};
    if (number <= 10)
        return words[number];
    const char *ending = "th";
    if (number % 100 / 10 != 1) {
        if (number % 10 == 1)
            ending = "st";
        else if (number % 10 == 2)
            ending = "nd";
        else if (number % 10 == 3)
            ending = "rd";
    }
    return std::to_string(number) + ending;
}

// "a", "a and b", "a, b and c".
std::string joined(const std::vector<std::string> &parts) {
    std::string text;
    for (size_t i = 0; i < parts.size(); ++i)
        text += (i == 0 ? "" : i + 1 == parts.size() ? " and " : ", ") + parts[i];
    return text;
}

std::string functions_text(const Rule &rule) {
    if (rule.functions.all())
        return "any function";
    std::vector<std::string> names;
    for (unsigned function = 0; function < function_count; ++function)
        if (rule.functions[function])
            names.emplace_back(function_names[function]);
    constexpr size_t most_names = 6;
    if (names.size() <= most_names)
        return joined(names);
    const size_t others = names.size() - 3;
    names.resize(3);
    names.push_back(std::to_string(others) + " others");
    return joined(names);
}

std::string which_calls(const Rule &rule) {
    const Interval &calls = rule.calls;
    std::string text;
    if (rule.every != 1) {
        text = "Every " + ordinal(rule.every) + " call";
        if (calls.low != 1)
            text += " behind the " + ordinal(calls.low - 1);
        if (calls.high != UINT64_MAX)
            text += " up to the " + ordinal(calls.high);
    } else if (calls.low == calls.high) {
        text = "The " + ordinal(calls.low) + " call";
    } else if (calls.high == UINT64_MAX) {
        text = calls.low == 1 ? "Every call" : "Every call behind the " + ordinal(calls.low - 1);
    } else {
        text = "Each of the calls " + std::to_string(calls.low) + " to " + std::to_string(calls.high);
    }
    return text;
}

// "10G or more"; "more than 10G" where that is the rounder number.
std::string at_least_text(uint64_t low) {
    const std::string here = size_text(low);
    const std::string below = low == 0 ? here : size_text(low - 1);
    return below.size() < here.size() ? "more than " + below : here + " or more";
}

std::string at_most_text(uint64_t high) {
    const std::string here = size_text(high);
    const std::string above = high == UINT64_MAX ? here : size_text(high + 1);
    return above.size() < here.size() ? "less than " + above : here + " or less";
}

std::string interval_text(const char *what, const Interval &interval) {
    const std::string name = what;
    if (interval.low == interval.high)
        return name + " " + size_text(interval.low);
    if (interval.high == UINT64_MAX)
        return name + " of " + at_least_text(interval.low);
    if (interval.low == 0)
        return name + " of " + at_most_text(interval.high);
    return name + " from " + size_text(interval.low) + " to " + size_text(interval.high);
}

std::string name_conditions(const Rule &rule) {
    static const char *const what[name_kinds] = {"server", "host", "LSU", "image", "mount point"};
    std::vector<std::string> parts;
    for (size_t kind = 0; kind < name_kinds; ++kind)
        if (rule.names[kind])
            parts.push_back(std::string(what[kind]) + " " + in_quotes(*rule.names[kind]));
    return parts.empty() ? "" : " for " + joined(parts);
}

std::string number_conditions(const Rule &rule) {
    std::vector<std::string> parts;
    if (rule.offset)
        parts.push_back(interval_text("an offset", *rule.offset));
    if (rule.length)
        parts.push_back(interval_text("a length", *rule.length));
    std::string text = parts.empty() ? "" : " with " + joined(parts);
    if (rule.bytes) {
        const Interval &bytes = *rule.bytes;
        const bool has_end = bytes.high != UINT64_MAX;
        text += bytes.low == 0 && has_end ? ", as long as" : ", once";
        text += " such calls, this one included, have moved ";
        text += bytes.low == bytes.high ? size_text(bytes.low)
                : bytes.low == 0        ? at_most_text(bytes.high)
                                        : at_least_text(bytes.low);
        if (bytes.low != 0 && has_end && bytes.low != bytes.high)
            text += ", and as long as that is " + at_most_text(bytes.high);
    }
    return text;
}

std::string window_conditions(const Rule &rule) {
    std::string text;
    if (rule.each != Each::all)
        text += rule.each == Each::thread ? ", counted by thread" : ", counted by process";
    if (rule.returned == Returned::success)
        text += ", when it succeeded";
    else if (rule.returned == Returned::error)
        text += ", when it failed";
    else if (rule.returned == Returned::status)
        text += ", when it returned " + status_text(rule.returned_status);
    if (rule.after_ns != 0)
        text += ", from " + duration_text(rule.after_ns) + " after the first of them on";
    if (rule.for_ns != UINT64_MAX)
        text += ", for " + duration_text(rule.for_ns);
    if (!rule.while_file.empty())
        text += ", while " + in_quotes(rule.while_file) + " exists";
    if (rule.chance) {
        char percent[32];
        std::snprintf(percent, sizeof percent, "%g", *rule.chance * 100);
        text += ", with a chance of " + std::string(percent) + "%";
    }
    return text;
}

}  // namespace

std::string rule_sentence(const Rule &rule) {
    std::string conditions = name_conditions(rule) + number_conditions(rule) + window_conditions(rule);
    const bool needs_comma = conditions.find(',') != std::string::npos;
    return which_calls(rule) + " of " + functions_text(rule) + conditions + (needs_comma ? ", " : " ") +
           effect_sentence(rule) + ".";
}

}  // namespace filter
