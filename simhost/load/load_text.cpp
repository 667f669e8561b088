#include "simhost/load/load_text.h"

#include <fmt/format.h>

#include <cmath>

#include "base/escaped_text.h"
#include "simhost/load/load_document.h"
#include "simhost/report/binary_size.h"
#include "simhost/report/quantities.h"
#include "simhost/report/text_table.h"

namespace {

void tell_table(const std::vector<std::string> &titles, const TextRows &rows, Report &report) {
    if (rows.empty())
        return;
    TextTable table(titles);
    for (const auto &row : rows)
        table.add(row);
    report.line("");
    report.lines(table.lines());
}

std::string amount(double value, bool is_bytes) {
    const std::string sign = value < 0 ? "-" : "";
    return is_bytes ? sign + binary_size(static_cast<uint64_t>(std::abs(value))) : fmt::format("{:.2f}", value);
}

void tell_broken(const Json &broken, Report &report) {
    constexpr size_t shown = 12;
    size_t told = 0;
    for (const Json &finding : broken["first"]) {
        if (told++ == shown)
            break;
        report.line("  {:<21} {}", finding["kind"].get<std::string>(), visible(finding["text"].get<std::string>()));
    }
    const auto total = broken["total"].get<uint64_t>();
    if (total > shown)
        report.line("  and {} more", total - shown);
}

void tell_deaths(const Json &load, Report &report) {
    if (load["kills"] == 0 && load["deaths"] == 0 && load["unknown"]["total"] == 0)
        return;
    const Json &unknown = load["unknown"];
    if (unknown["told"] != 0)
        report.line("unknown        {} closes and deletions said that they may have been done or not",
                    unknown["told"].get<uint64_t>());
    report.line("processes      {} killed, {} died by themselves", load["kills"].get<uint64_t>(),
                load["deaths"].get<uint64_t>());
    report.line("undecided      {} images: {} new, {} as before, {} not there", unknown["total"].get<uint64_t>(),
                unknown["new_content"].get<uint64_t>(), unknown["old_content"].get<uint64_t>(),
                unknown["nothing"].get<uint64_t>());
}

}  // namespace

std::string verdict_text(const Json &load) {
    const Json &broken = load["broken_promises"];
    if (load["verdict"] == "kept")
        return load["verified"] == true ? "every promise was kept"
                                        : "no broken promise was seen, but not all could be verified";
    std::string kinds;
    for (const auto &[kind, count] : broken["kinds"].items())
        kinds += fmt::format("{}{} {}", kinds.empty() ? "" : ", ", count.get<uint64_t>(), kind);
    return fmt::format("BROKEN: {}", kinds);
}

TextRows latency_rows(const Json &latencies) {
    TextRows rows;
    for (const auto &[name, latency] : latencies.items()) {
        std::vector<std::string> row = {name, std::to_string(latency["count"].get<uint64_t>()),
                                        fmt::format("{:.1f}", latency["per_second"].get<double>())};
        for (const LatencyShare &share : latency_shares)
            row.push_back(format_duration(latency[share.key]["ns"].get<double>() / 1e9));
        row.push_back(format_duration(latency["max_ns"].get<double>() / 1e9));
        rows.push_back(std::move(row));
    }
    return rows;
}

TextRows growth_rows(const Json &growth) {
    TextRows rows;
    for (const auto &[name, value] : growth.items()) {
        const bool is_bytes = name.find("bytes") != std::string::npos;
        const bool is_judged = value["verdict"] != "not judged";
        rows.push_back({name, is_judged ? amount(value["per_hour"], is_bytes) : "-",
                        is_judged ? amount(value["error_per_hour"], is_bytes) : "-",
                        is_judged ? amount(value["total"], is_bytes) : "-", value["verdict"].get<std::string>()});
    }
    return rows;
}

void tell_load(const Json &load, Report &report) {
    report.line("verdict        {}", verdict_text(load));
    tell_broken(load["broken_promises"], report);
    const double seconds = load["seconds"];
    report.line("load           {} operations in {}, {:.1f} a second; ended by {}", load["operations"].get<uint64_t>(),
                format_duration(seconds), load["operations_per_second"].get<double>(),
                load["ended_by"].get<std::string>());
    report.line("written        {}, {}", binary_size(load["bytes_written"]),
                format_rate(load["bytes_written"], seconds));
    report.line("read           {}, {}", binary_size(load["bytes_read"]), format_rate(load["bytes_read"], seconds));
    tell_deaths(load, report);
    const std::vector<std::string> times = {">COUNT", ">A SECOND", ">P50", ">P90", ">P99", ">P99.9", ">MAX"};
    for (const auto &[key, title] : {std::pair{"operations", "OPERATION"}, std::pair{"entry_points", "ENTRY POINT"}}) {
        std::vector<std::string> titles = {title};
        titles.insert(titles.end(), times.begin(), times.end());
        tell_table(titles, latency_rows(load["latencies"][key]), report);
    }
    TextRows statuses;
    for (const Json &status : load["statuses"])
        statuses.push_back(
            {status["entry_point"], std::to_string(status["count"].get<uint64_t>()),
             fmt::format("{} ({})", status["status_name"].get<std::string>(), status["status"].get<int32_t>())});
    tell_table({"ENTRY POINT", ">TIMES", "ANSWER OTHER THAN SUCCESS"}, statuses, report);
    tell_table({"GROWTH OF A PROCESS", ">AN HOUR", ">ERROR", ">IN THIS RUN", "VERDICT"}, growth_rows(load["growth"]),
               report);
}
