// Which parts of the model have answered: what a run of histories has come to, and what it has not.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace conformance::model {

// Every part has a line in reached.cpp; any other text ends the program.
void reached(const char *part);

const std::vector<std::string> &parts();

// Where reached() counts, one number a part; null (at first): nowhere.
void count_reached_in(unsigned *counts);

}  // namespace conformance::model
