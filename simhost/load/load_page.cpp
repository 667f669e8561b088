#include "simhost/load/load_page.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "simhost/load/load_page_style.h"
#include "simhost/load/load_text.h"
#include "simhost/load/svg_chart.h"
#include "simhost/report/binary_size.h"
#include "simhost/report/quantities.h"

namespace {

constexpr double mebibyte = 1 << 20;

using Points = std::vector<std::pair<double, double>>;

// A column over time, in parts of scale; a count as what it grew by in a second.
Points values_of(const Json &series, const char *column, double scale) {
    Points points;
    for (size_t i = 0; i < series["seconds"].size(); ++i)
        points.emplace_back(series["seconds"][i].get<double>(), series[column][i].get<double>() / scale);
    return points;
}

Points rates_of(const Json &series, const char *column, double scale) {
    const Points counts = values_of(series, column, scale);
    Points points;
    for (size_t i = 1; i < counts.size(); ++i)
        if (const double time = counts[i].first - counts[i - 1].first; time > 0.05)
            points.emplace_back(counts[i].first, (counts[i].second - counts[i - 1].second) / time);
    return points;
}

// How long the slowest calls take: across, one in ten, in a hundred and so on.
Chart latency_chart(const Json &latencies, const std::string &title) {
    Chart chart;
    chart.title = title;
    chart.unit = "microseconds, by share of calls that took no longer";
    chart.logarithmic = true;
    chart.marks = {{0, "0"}, {1, "90 %"}, {2, "99 %"}, {3, "99.9 %"}, {4, "99.99 %"}, {5, "99.999 %"}};
    std::vector<std::pair<double, std::string>> order;
    for (const auto &[name, latency] : latencies.items())
        order.emplace_back(-latency["mean_ns"].get<double>() * latency["count"].get<double>(), name);
    std::sort(order.begin(), order.end());
    for (const auto &[weight, name] : order) {
        const auto count = latencies[name]["count"].get<double>();
        double seen = 0;
        Points points;
        for (const Json &bin : latencies[name]["counts"]) {
            seen += bin[1].get<double>();
            const double above = std::max(count - seen, 0.5) / count;
            points.emplace_back(std::min(-std::log10(above), 5.0), bin[0].get<double>() / 1e3);
        }
        chart.lines.push_back({name, points});
        if (chart.lines.size() == 8)
            break;
    }
    double farthest = 1;
    for (const ChartLine &line : chart.lines)
        for (const auto &point : line.points)
            farthest = std::max(farthest, point.first);
    chart.marks.erase(std::remove_if(chart.marks.begin(), chart.marks.end(),
                                     [farthest](const auto &mark) { return mark.first > farthest; }),
                      chart.marks.end());
    return chart;
}

std::string charts(const Json &load) {
    const Json &series = load["series"];
    const Chart over_time[] = {
        {"Operations",
         "a second",
         "s",
         false,
         {},
         {{"operations", rates_of(series, "operations", 1)}, {"failures", rates_of(series, "failures", 1)}}},
        {"Data",
         "MiB a second",
         "s",
         false,
         {},
         {{"written", rates_of(series, "bytes_written", mebibyte)},
          {"read", rates_of(series, "bytes_read", mebibyte)}}},
        {"Time of one operation in a hundred",
         "milliseconds, p99",
         "s",
         false,
         {},
         {{"p99", values_of(series, "p99_ns", 1e6)}}},
        {"Memory",
         "MiB, all processes",
         "s",
         false,
         {},
         {{"resident", values_of(series, "resident_bytes", mebibyte)},
          {"in use", values_of(series, "heap_bytes", mebibyte)}}},
        {"Open",
         "all processes",
         "s",
         false,
         {},
         {{"file descriptors", values_of(series, "descriptors", 1)},
          {"threads", values_of(series, "threads", 1)},
          {"handles", values_of(series, "handles", 1)}}},
    };
    std::string text;
    for (const Chart &chart : over_time)
        text += svg_figure(chart);
    text += svg_figure(latency_chart(load["latencies"]["operations"], "Operations"));
    text += svg_figure(latency_chart(load["latencies"]["entry_points"], "Entry points that take most of the time"));
    return text;
}

std::string table(const char *heading, const std::vector<std::string> &titles, const TextRows &rows,
                  const char *style = "") {
    if (rows.empty())
        return {};
    std::string text = fmt::format("<h2>{}</h2>\n<div class=\"wide\"><table{}><thead><tr>", heading, style);
    for (const std::string &title : titles)
        text += fmt::format("<th scope=\"col\">{}</th>", page_text(title));
    text += "</tr></thead><tbody>\n";
    for (const auto &row : rows) {
        text += "<tr>";
        for (const std::string &cell : row)
            text += fmt::format("<td>{}</td>", page_text(cell));
        text += "</tr>\n";
    }
    return text + "</tbody></table></div>\n";
}

std::string tables(const Json &load) {
    const std::vector<std::string> times = {"", "count", "a second", "p50", "p90", "p99", "p99.9", "longest"};
    TextRows broken;
    for (const Json &finding : load["broken_promises"]["first"])
        broken.push_back({fmt::format("{:.1f} s", finding["seconds"].get<double>()), finding["kind"], finding["text"]});
    TextRows statuses;
    for (const Json &status : load["statuses"])
        statuses.push_back(
            {status["entry_point"], std::to_string(status["count"].get<uint64_t>()),
             fmt::format("{} ({})", status["status_name"].get<std::string>(), status["status"].get<int32_t>())});
    TextRows workload;
    for (const auto &[name, value] : load["workload"].items())
        workload.push_back({name, value});
    return table("Broken promises", {"at", "kind", "what was seen"}, broken, " class=\"words\"") +
           table("Operations", times, latency_rows(load["latencies"]["operations"])) +
           table("Entry points", times, latency_rows(load["latencies"]["entry_points"])) +
           table("Answers other than success", {"entry point", "times", "answer"}, statuses) +
           table("Growth of a process", {"", "an hour", "error", "in this run", "verdict"},
                 growth_rows(load["growth"])) +
           table("Workload", {"setting", "value"}, workload, " class=\"words\"");
}

}  // namespace

std::string load_page(const Json &load) {
    const double seconds = load["seconds"];
    const auto figure = [](const std::string &value, const char *what) {
        return fmt::format("<div><b>{}</b>{}</div>", page_text(value), what);
    };
    return fmt::format(
        "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
        "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src 'unsafe-inline'\">\n"
        "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
        "<title>Load on {0}</title>\n<style>{1}</style>\n</head>\n<body>\n<main>\n<h1>Load on {0}</h1>\n"
        "<p class=\"soft\">{2}</p>\n<p class=\"verdict{3}\">{4}</p>\n<div class=\"figures\">{5}{6}{7}{8}{9}</div>\n"
        "<h2>Over time</h2>\n<div class=\"charts\">\n{10}</div>\n{11}</main>\n</body>\n</html>\n",
        page_text(load["server"]), load_page_style, page_text(load["plugin"]), load["verdict"] == "kept" ? "" : " bad",
        page_text(verdict_text(load)), figure(format_duration(seconds), "of load"),
        figure(fmt::format("{:.1f}", load["operations_per_second"].get<double>()), "operations a second"),
        figure(format_rate(load["bytes_written"], seconds), "written"),
        figure(format_rate(load["bytes_read"], seconds), "read"),
        figure(std::to_string(load["kills"].get<uint64_t>()), "processes killed"), charts(load), tables(load));
}
