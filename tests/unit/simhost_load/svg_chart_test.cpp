#include "simhost/load/svg_chart.h"

#include <gtest/gtest.h>

TEST(SvgFigure, LabelAtTheEdgeEndsThere) {
    Chart chart;
    chart.title = "Operations";
    chart.unit = "microseconds";
    chart.marks = {{0, "0"}, {1, "90 %"}, {2, "99.999 %"}};
    chart.lines = {{"backup", {{0, 1}, {1, 2}, {2, 3}}}};
    const std::string figure = svg_figure(chart);
    EXPECT_NE(figure.find("text-anchor=\"middle\">90 %</text>"), std::string::npos) << figure;
    EXPECT_NE(figure.find("text-anchor=\"end\">99.999 %</text>"), std::string::npos) << figure;
}
