// A rule: when something is to happen, and what.
#pragma once

#include <array>
#include <bitset>
#include <cstdint>
#include <optional>
#include <string>

#include "filter/rules/function_number.h"

namespace filter {

enum class Place { before, after };  // the wrapped call

enum class EffectKind {
    answer,       // status
    delay,        // low to high, nanoseconds
    hold,         // until the file text exists; for ever when there is no text
    rate,         // low bytes a second
    short_count,  // at most low bytes, or low percent of them
    flip,         // bit, at a place
    zero,         // low bytes (0: all), at a place
    stale,
    lose,
    omit,
    repeat,
    reverse,
    set,  // field text to value or low
    log,  // text
    kill  // signal in low
};

enum class Where { call, image, random };  // what a place in data counts from

struct Effect {
    EffectKind kind = EffectKind::answer;
    int32_t status = 0;
    uint64_t low = 0;
    uint64_t high = 0;
    bool percent = false;
    int bit = -1;  // -1: a random one
    Where where = Where::call;
    uint64_t offset = 0;
    std::string text;
    std::string value;
};

// Both ends count. Everything, unless said otherwise.
struct Interval {
    uint64_t low = 0;
    uint64_t high = UINT64_MAX;

    bool holds(uint64_t value) const { return low <= value && value <= high; }
    bool operator==(const Interval &other) const { return low == other.low && high == other.high; }
};

enum NameKind { name_server, name_host, name_lsu, name_image, name_mount_point, name_kinds };

// True where the name is that of the entry which the call gives, and so is known after it.
inline bool is_entry_name(unsigned function, NameKind kind) {
    return (function == fn_stspi_list_lsu && kind == name_lsu) ||
           (function == fn_stspi_list_image && kind == name_image);
}

enum class Returned { anything, success, error, status };
enum class Each { all, process, thread };  // who shares the count of calls

struct Rule {
    size_t line = 0;   // in the file, from 1
    std::string text;  // as written, blanks and comment aside: what a rule is known by
    std::bitset<function_count> functions;
    std::array<std::optional<std::string>, name_kinds> names;  // patterns
    std::optional<Interval> offset;
    std::optional<Interval> length;
    std::optional<Interval> bytes;  // that calls of the rule have moved so far, this one included
    Returned returned = Returned::anything;
    int32_t returned_status = 0;

    // The window: of all calls that match, those for which something happens.
    Interval calls = {1, UINT64_MAX};
    uint64_t every = 1;
    Each each = Each::all;
    uint64_t after_ns = 0;  // since the first match
    uint64_t for_ns = UINT64_MAX;
    std::string while_file;
    std::optional<double> chance;  // 0 to 1

    Place place = Place::before;
    Effect effect;

    // True when it may let a call that matches pass.
    bool has_window() const {
        return !(calls == Interval{1, UINT64_MAX}) || every != 1 || each != Each::all || after_ns != 0 ||
               for_ns != UINT64_MAX || !while_file.empty() || chance.has_value();
    }
};

// When a rule acts on a call of this function: data is changed where it is at hand.
inline bool acts_after(const Rule &rule, unsigned function) {
    if (rule.effect.kind == EffectKind::flip || rule.effect.kind == EffectKind::zero)
        return function != fn_stspi_write_image;
    return rule.place == Place::after;
}

}  // namespace filter
