// What the comparison of two journals does not look at, each with its reason. A line is one mask:
//
//     drop   on stspi_get_lsu_prop_byname   results.info.used_bytes        # others write to this disk, too
//     round  on *                           results.info.capacity_bytes 1G # grows with the thin pool
//     sort   on stspi_list_image            results.out_definition.name    # the library lists in no order
//
// The entry point and the path are shell patterns. A path leads into a call as "simhost journal show" tells it:
// arguments.NAME, results.NAME, status, log, output, faults; elements of lists are numbers.
#pragma once

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

// Throws UsageError, with name, line and column, for a text that is no list of masks.
std::vector<Mask> parse_masks(const std::string &text, const std::string &name);

// Reads a file of masks. Throws UsageError when that is not possible.
std::vector<Mask> read_masks(const std::string &path);

// Applies all masks to a call, save that values are not yet put in order across calls.
void apply_masks(std::vector<Mask> &masks, const std::string &entry_point, Json &call);

// Whether some mask puts values of calls of that entry point in order across calls.
bool sorts_across_calls(const std::vector<Mask> &masks, const std::string &entry_point);

// Does so, for calls in a row.
void sort_across_calls(std::vector<Mask> &masks, const std::string &entry_point, const std::vector<Json *> &calls);
