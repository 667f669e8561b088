// What the comparison of two journals does not look at, each with its reason. A path leads into a call: arguments.NAME,
// results.NAME, status, log, output, faults; elements of lists are numbers. Entry point and path are shell patterns.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

using Json = nlohmann::ordered_json;

enum class MaskAction {
    drop,  // leave the value out
    sort,  // a list: in order. Any other value: put those of calls of the same entry point in a row in order
    round  // a number: to the nearest multiple of the unit
};

struct Mask {
    MaskAction action;
    std::string entry_point;
    std::string path;
    uint64_t unit = 0;
    std::string reason;
    size_t line = 0;
    uint64_t matched = 0;  // values that it met
};

// Applies all masks to a call, save that values are not yet put in order across calls.
void apply_masks(std::vector<Mask> &masks, const std::string &entry_point, Json &call);

// Whether some mask puts values of calls of that entry point in order across calls.
bool sorts_across_calls(const std::vector<Mask> &masks, const std::string &entry_point);

// Does so, for calls in a row.
void sort_across_calls(std::vector<Mask> &masks, const std::string &entry_point, const std::vector<Json *> &calls);
