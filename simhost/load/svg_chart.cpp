#include "simhost/load/svg_chart.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "base/entities.h"
#include "base/escaped_text.h"

namespace {

constexpr double width = 560;
constexpr double height = 220;
constexpr double left = 62;
constexpr double right = 12;
constexpr double top = 10;
constexpr double bottom = 30;
constexpr double half_a_label = 30;
constexpr size_t most_lines = 8;

struct Range {
    double low;
    double high;
    double share(double value) const { return high > low ? (value - low) / (high - low) : 0; }
};

double round_step(double span) {
    const double rough = span / 4;
    const double power = std::pow(10, std::floor(std::log10(rough)));
    for (const double factor : {1.0, 2.0, 5.0})
        if (rough <= factor * power)
            return factor * power;
    return 10 * power;
}

std::string short_number(double value) {
    if (std::abs(value) >= 1e6)
        return fmt::format("{:g}M", value / 1e6);
    if (std::abs(value) >= 1e4)
        return fmt::format("{:g}k", value / 1e3);
    return fmt::format("{:g}", std::abs(value) < 1e-12 ? 0 : value);
}

class Drawing {
public:
    explicit Drawing(const Chart &chart) : m_chart(chart) {
        double low = std::numeric_limits<double>::max();
        double high = 0;
        double first = low;
        double last = 0;
        for (const ChartLine &line : chart.lines)
            for (const auto &[across, value] : line.points) {
                first = std::min(first, across);
                last = std::max(last, across);
                if (value > 0)
                    low = std::min(low, value);
                high = std::max(high, value);
            }
        m_across = {std::min(first, last), last};
        if (chart.logarithmic)
            m_values = {std::floor(std::log10(std::min(low, high > 0 ? high : 1))),
                        std::ceil(std::log10(high > 0 ? high : 1))};
        else
            m_values = {0, high > 0 ? high * 1.05 : 1};
        if (m_values.high <= m_values.low)
            m_values.high = m_values.low + 1;
    }

    std::string svg() const {
        std::string text = fmt::format("<svg viewBox=\"0 0 {} {}\" role=\"img\" aria-label=\"{}\">\n", width, height,
                                       page_text(m_chart.title));
        for (const auto &[place, label] : value_marks())
            text += fmt::format(
                "<line class=\"grid\" x1=\"{0}\" y1=\"{1:.1f}\" x2=\"{2}\" y2=\"{1:.1f}\"/><text x=\"{3}\" "
                "y=\"{4:.1f}\" "
                "text-anchor=\"end\">{5}</text>\n",
                left, place, width - right, left - 6, place + 4, page_text(label));
        for (const auto &[place, label] : across_marks())
            text += fmt::format("<text x=\"{:.1f}\" y=\"{}\" text-anchor=\"{}\">{}</text>\n", place, height - 10,
                                place > width - right - half_a_label ? "end" : "middle", page_text(label));
        for (size_t i = 0; i < std::min(m_chart.lines.size(), most_lines); ++i)
            text += polyline(i);
        return text + "</svg>\n";
    }

private:
    double x(double across) const { return left + m_across.share(across) * (width - left - right); }
    double y(double value) const {
        const double scaled = m_chart.logarithmic ? std::log10(std::max(value, std::pow(10, m_values.low))) : value;
        return height - bottom - m_values.share(scaled) * (height - top - bottom);
    }

    std::vector<std::pair<double, std::string>> value_marks() const {
        std::vector<std::pair<double, std::string>> marks;
        if (m_chart.logarithmic) {
            for (int power = static_cast<int>(m_values.low); power <= static_cast<int>(m_values.high); ++power)
                marks.emplace_back(y(std::pow(10, power)), short_number(std::pow(10, power)));
            return marks;
        }
        const double step = round_step(m_values.high);
        for (int count = 0; count * step <= m_values.high; ++count)
            marks.emplace_back(y(count * step), short_number(count * step));
        return marks;
    }

    std::vector<std::pair<double, std::string>> across_marks() const {
        std::vector<std::pair<double, std::string>> marks;
        if (!m_chart.marks.empty()) {
            for (const auto &[across, label] : m_chart.marks)
                marks.emplace_back(x(across), label);
            return marks;
        }
        if (m_across.high <= m_across.low)
            return marks;
        const double step = round_step(m_across.high - m_across.low);
        const auto first = static_cast<int>(std::ceil(m_across.low / step));
        for (int count = first; count * step <= m_across.high; ++count)
            marks.emplace_back(x(count * step), short_number(count * step) + ' ' + m_chart.across);
        return marks;
    }

    std::string polyline(size_t number) const {
        const ChartLine &line = m_chart.lines[number];
        std::string points;
        for (const auto &[across, value] : line.points)
            points += fmt::format("{:.1f},{:.1f} ", x(across), y(value));
        return fmt::format("<polyline class=\"line{}\" points=\"{}\"><title>{}</title></polyline>\n", number, points,
                           page_text(line.name));
    }

    const Chart &m_chart;
    Range m_across{0, 1};
    Range m_values{0, 1};
};

}  // namespace

std::string page_text(const std::string &text) { return with_entities(printable(text), "\""); }

std::string svg_figure(const Chart &chart) {
    std::string legend;
    for (size_t i = 0; i < std::min(chart.lines.size(), most_lines); ++i)
        legend += fmt::format("<span class=\"key line{}\">{}</span> ", i, page_text(chart.lines[i].name));
    return fmt::format("<figure><figcaption>{}, {}</figcaption>\n{}<p class=\"legend\">{}</p></figure>\n",
                       page_text(chart.title), page_text(chart.unit), Drawing(chart).svg(), legend);
}
