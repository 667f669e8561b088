// The tables of docs/entry-points.md.
#pragma once

#include <string>
#include <vector>

// One row: what an entry point returns, and when.
struct DocumentedStatus {
    std::string entry_point;
    std::string slot;    // "1.4": table and slot; "-": by symbol only
    std::string status;  // "0", a STS_E_ name, a number, or "library" for what the image library answers
    std::string condition;
    std::string test;  // rows that no configuration brings about: the unit test that does; otherwise empty
};

// Every row of every table of the file whose first column is an entry point.
std::vector<DocumentedStatus> documented_statuses(const std::string &path);
