#include "simhost/load/load_series.h"

#include <fmt/format.h>

namespace {

std::string label_value(const std::string &text) {
    std::string escaped;
    for (const char character : text)
        if (character == '\n')
            escaped += "\\n";
        else if (character == '"' || character == '\\')
            escaped.append({'\\', character});
        else
            escaped += character;
    return escaped;
}

std::string number_text(const Json &value) {
    return value.is_number_float() ? fmt::format("{:.9g}", value.get<double>()) : value.dump();
}

class Metrics {
public:
    explicit Metrics(const std::string &server) : m_server(label_value(server)) {}

    void begin(const char *name, const char *type, const char *help) {
        m_name = name;
        m_text += fmt::format("# HELP {0} {2}\n# TYPE {0} {1}\n", name, type, help);
    }
    void add(const Json &value, const std::string &labels = "", const char *suffix = "") {
        m_text += fmt::format("{}{}{{server=\"{}\"{}}} {}\n", m_name, suffix, m_server, labels, number_text(value));
    }
    const std::string &text() const { return m_text; }

private:
    std::string m_server;
    std::string m_name;
    std::string m_text;
};

void add_latencies(Metrics &metrics, const Json &latencies, const char *label) {
    for (const auto &[name, latency] : latencies.items()) {
        for (const auto &[key, quantile] :
             {std::pair{"p50", "0.5"}, std::pair{"p90", "0.9"}, std::pair{"p99", "0.99"}, std::pair{"p99.9", "0.999"}})
            metrics.add(latency[key]["ns"].get<double>() / 1e9,
                        fmt::format(",{}=\"{}\",quantile=\"{}\"", label, name, quantile));
        const std::string labels = fmt::format(",{}=\"{}\"", label, name);
        metrics.add(latency["mean_ns"].get<double>() * latency["count"].get<double>() / 1e9, labels, "_sum");
        metrics.add(latency["count"], labels, "_count");
    }
}

}  // namespace

std::string series_csv(const Json &load) {
    const Json &series = load["series"];
    std::string text;
    size_t rows = 0;
    for (const auto &[name, values] : series.items()) {
        text += (text.empty() ? "" : ",") + name;
        rows = values.size();
    }
    text += '\n';
    for (size_t row = 0; row < rows; ++row) {
        const char *separator = "";
        for (const auto &[name, values] : series.items()) {
            text += separator + number_text(values[row]);
            separator = ",";
        }
        text += '\n';
    }
    return text;
}

std::string metrics_text(const Json &load) {
    Metrics metrics(load["server"]);
    metrics.begin("simhost_load_kept", "gauge", "1 when every promise was kept.");
    metrics.add(load["verdict"] == "kept" ? 1 : 0);
    metrics.begin("simhost_load_seconds", "gauge", "How long the load took.");
    metrics.add(load["seconds"]);
    metrics.begin("simhost_load_bytes_total", "counter", "Bytes that were moved.");
    metrics.add(load["bytes_written"], ",direction=\"written\"");
    metrics.add(load["bytes_read"], ",direction=\"read\"");
    metrics.begin("simhost_load_broken_promises_total", "counter", "Broken promises, by kind.");
    for (const auto &[kind, count] : load["broken_promises"]["kinds"].items())
        metrics.add(count, fmt::format(",kind=\"{}\"", label_value(kind)));
    metrics.begin("simhost_load_kills_total", "counter", "Processes that were killed.");
    metrics.add(load["kills"]);
    metrics.begin("simhost_load_answers_total", "counter", "Answers other than success, by entry point and status.");
    for (const Json &status : load["statuses"])
        metrics.add(status["count"],
                    fmt::format(",entry_point=\"{}\",status=\"{}\"", status["entry_point"].get<std::string>(),
                                status["status"].get<int32_t>()));
    metrics.begin("simhost_load_operation_seconds", "summary", "Time of operations, from their intended begin.");
    add_latencies(metrics, load["latencies"]["operations"], "operation");
    metrics.begin("simhost_load_call_seconds", "summary", "Time of calls, by entry point.");
    add_latencies(metrics, load["latencies"]["entry_points"], "entry_point");
    metrics.begin("simhost_load_growth_per_hour", "gauge", "Growth of what a process uses, in an hour.");
    for (const auto &[name, growth] : load["growth"].items())
        if (growth["verdict"] != "not judged")
            metrics.add(growth["per_hour"], fmt::format(",of=\"{}\"", name));
    return metrics.text();
}
