// What the comparison of two journals does not look at, each with its reason. A line is one mask:
//
//     drop   on stspi_get_lsu_prop_byname   results.info.used_bytes        # others write to this disk, too
//     round  on *                           results.info.capacity_bytes 1G # grows with the thin pool
//     sort   on stspi_list_image            results.out_definition.name    # the library lists in no order
//
// The entry point and the path are shell patterns. A path leads into a call as "simhost journal show" tells it:
// arguments.NAME, results.NAME, status, log, output, faults; elements of lists are numbers.
#pragma once

#include "journal/calls/mask.h"

// Throws UsageError, with name, line and column, for a text that is no list of masks.
std::vector<Mask> parse_masks(const std::string &text, const std::string &name);

// Reads a file of masks. Throws UsageError when that is not possible.
std::vector<Mask> read_masks(const std::string &path);
