// What the interface demands, which tests hold it, and at which level.
//
// The table stands in requirements.txt and is part of the program; docs/requirements.md is what it says, in both directions.
#pragma once

#include <string>
#include <vector>

#include "conformance/report/test_case.h"

namespace conformance {

constexpr unsigned level_count = 5;

// "loads and refuses", ... for 1 to level_count.
const char *level_name(unsigned level);

struct Requirement {
    std::string id;  // "claim/no-colon"
    unsigned level = 0;
    std::string sentence;
    std::vector<const TestCase *> tests;  // by id
};

// Throws std::runtime_error, naming line and reason, for a table that does not fit the tests: a pattern that no test matches,
// a requirement without a test, a test without a requirement, an id that is there twice.
const std::vector<Requirement> &all_requirements();

// In the order of the table.
std::vector<const Requirement *> requirements_of(const TestCase &test);

// Of a test: the highest of its requirements'.
unsigned level_of(const TestCase &test);

// The page docs/requirements.md.
std::string requirements_markdown();

}  // namespace conformance
