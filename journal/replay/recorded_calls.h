// The calls of a journal, with what is needed to make them again.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "journal/entry_points.h"
#include "journal/format.h"

// One item of a record, kept.
struct RecordedItem {
    journal::Item head;
    std::string bytes;
};

struct RecordedStep {
    unsigned process = 0;
    unsigned thread = 0;  // in its process
    journal::EntryPointNumber entry_point = 0;
    uint64_t entered_ns = 0;
    uint64_t left_before = 0;  // how many calls of the journal had been left when this one was entered
    uint64_t left_as = 0;      // the how-manieth call it was that was left, from 1; 0: it was running at the end
    std::vector<RecordedItem> arguments;
    std::vector<RecordedItem> results;
    int32_t status = 0;

    // What the call stored as its handle; 0 for none.
    uint64_t stored_handle() const;
    // Handles that it uses.
    std::vector<uint64_t> used_handles() const;
};

struct RecordedSession {
    std::vector<RecordedStep> steps;  // in the order in which they were entered
    std::string data_directory;       // where side files are
    unsigned processes = 0;

    // Whether data that was written is not in side files.
    bool lacks_data() const;
};

// Calls whose entering record is missing, or of which not all was kept, are left out and counted. Throws
// journal::ReadError.
RecordedSession read_recorded_calls(const std::string &path, uint64_t &left_out);
