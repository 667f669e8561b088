#pragma once

#include <string>

// Has Graphviz draw a graph as SVG. Throws UsageError when "dot" is not there, BadAnswer when it fails.
std::string svg_of_dot(const std::string &dot);
