#pragma once

#include <string>

#include "simhost/show/view.h"

// A Graphviz graph: hosts with arrows to the pools that they see, or the servers of a Copan file.
std::string dot_of(const View &view);
