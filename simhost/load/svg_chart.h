// A chart of lines as SVG that stands inside a page: its colours are the page's.
#pragma once

#include <string>
#include <utility>
#include <vector>

struct ChartLine {
    std::string name;
    std::vector<std::pair<double, double>> points;
};

struct Chart {
    std::string title;
    std::string unit;                                   // of the values
    std::string across = "s";                           // unit of the places
    bool logarithmic = false;                           // values; places stay as they are
    std::vector<std::pair<double, std::string>> marks;  // across; empty: round numbers
    std::vector<ChartLine> lines;
};

// A figure element with a legend. Line number i has the class line<i>, from 0 to 7.
std::string svg_figure(const Chart &chart);

// Text as markup takes it.
std::string page_text(const std::string &text);
