#include "filter/rules/sentence.h"

#include <csignal>
#include <cstdio>
#include <vector>

#include "filter/rules/function_traits.h"
#include "filter/rules/quantity.h"
#include "filter/rules/status.h"
#include "filter/rules/word_reader.h"

namespace filter {

namespace {

std::string signal_name(uint64_t signal) {
    switch (signal) {
        case SIGSEGV:
            return "SIGSEGV";
        case SIGABRT:
            return "SIGABRT";
        case SIGTERM:
            return "SIGTERM";
        case SIGSTOP:
            return "SIGSTOP";
        default:
            return "SIGKILL";
    }
}

std::string status_name_alone(int32_t status) {
    const std::string text = status_text(status);
    return text.substr(0, text.find(" ("));
}

std::string range_text(const std::string &low, const std::string &high) {
    return low == high ? low : low + ".." + high;
}

std::string place_words(const Effect &effect) {
    if (effect.where == Where::random)
        return " at random";
    return std::string(effect.where == Where::image ? " at image " : " at ") + size_text(effect.offset);
}

std::string amount_words(const Effect &effect) {
    return effect.percent ? std::to_string(effect.low) + "%" : size_text(effect.low);
}

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

std::string data_words(const Rule &rule) {
    return rule.place == Place::after ? "the data that was read" : "the data on its way to the plug-in";
}

std::string what_happens(const Rule &rule) {
    const Effect &effect = rule.effect;
    const bool after = rule.place == Place::after;
    const std::string when = after ? "after it was made" : "before it is made";
    switch (effect.kind) {
        case EffectKind::answer:
            return after ? "is made and then answered with " + status_text(effect.status)
                         : "is not made and answered with " + status_text(effect.status);
        case EffectKind::delay:
            return "waits " + range_text(duration_text(effect.low), duration_text(effect.high)) + " " + when;
        case EffectKind::hold:
            return "is held " + when +
                   (effect.text.empty() ? std::string(" for ever") : " until " + in_quotes(effect.text) + " exists");
        case EffectKind::rate:
            return "is slowed down to " + size_text(effect.low) + " bytes a second " + when;
        case EffectKind::short_count:
            return after ? "tells at most " + amount_words(effect) + " of the bytes that it moved"
                         : "moves at most " + amount_words(effect) + " of the bytes";
        case EffectKind::flip:
            return "has " + (effect.bit < 0 ? std::string("a bit") : "bit " + std::to_string(effect.bit)) +
                   place_words(effect) + " turned over in " + data_words(rule);
        case EffectKind::zero:
            return "has " +
                   (effect.low == 0 ? std::string("all bytes")
                                    : size_text(effect.low) + " bytes" + place_words(effect)) +
                   " set to zero in " + data_words(rule);
        case EffectKind::stale:
            return "is made, and its caller finds what was there before";
        case EffectKind::lose:
            return "is not made, yet told as done";
        case EffectKind::omit:
            return "skips an entry of the list";
        case EffectKind::repeat:
            return "gives an entry that the next call gives again";
        case EffectKind::reverse:
            return "turns the rest of the list round";
        case EffectKind::set:
            return "is made, and its " + effect.text + " set to " + in_quotes(effect.value);
        case EffectKind::log:
            return "sends the message " + in_quotes(effect.text) + " to the session " + when;
        case EffectKind::kill:
            return "ends the process by " + signal_name(effect.low) + " " + when;
    }
    return "";
}

}  // namespace

std::string effect_words(const Effect &effect) {
    switch (effect.kind) {
        case EffectKind::answer:
            return "answer " + status_name_alone(effect.status);
        case EffectKind::delay:
            return "delay " + range_text(duration_text(effect.low), duration_text(effect.high));
        case EffectKind::hold:
            return effect.text.empty() ? "hold for ever" : "hold until " + effect.text;
        case EffectKind::rate:
            return "rate " + size_text(effect.low) + "/s";
        case EffectKind::short_count:
            return "short " + amount_words(effect);
        case EffectKind::flip:
            return "flip bit" + (effect.bit < 0 ? "" : " " + std::to_string(effect.bit)) + place_words(effect);
        case EffectKind::zero:
            return effect.low == 0 ? "zero all" : "zero " + size_text(effect.low) + place_words(effect);
        case EffectKind::stale:
            return "stale";
        case EffectKind::lose:
            return "lose";
        case EffectKind::omit:
            return "omit";
        case EffectKind::repeat:
            return "repeat";
        case EffectKind::reverse:
            return "reverse";
        case EffectKind::set:
            return "set " + effect.text + " " + in_quotes(effect.value);
        case EffectKind::log:
            return "log " + in_quotes(effect.text);
        case EffectKind::kill:
            return effect.low == SIGKILL ? "kill" : "kill " + signal_name(effect.low);
    }
    return "";
}

std::string rule_sentence(const Rule &rule) {
    std::string conditions = name_conditions(rule) + number_conditions(rule) + window_conditions(rule);
    const bool needs_comma = conditions.find(',') != std::string::npos;
    return which_calls(rule) + " of " + functions_text(rule) + conditions + (needs_comma ? ", " : " ") +
           what_happens(rule) + ".";
}

}  // namespace filter
