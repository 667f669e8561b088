#include "simhost/load/load_document.h"

#include <fmt/format.h>

#include "journal/calls/status_name.h"
#include "simhost/load/draw.h"
#include "simhost/load/workload_settings.h"

namespace {

struct Watched {
    const char *key;
    const char *what;
    std::vector<Measurement> ProcessHistory::*history;
    double floor;  // less is no leak, however steady
};
constexpr double kibibyte = 1024;
const Watched watched[] = {
    {"descriptors", "file descriptors", &ProcessHistory::descriptors, 3},
    {"threads", "threads", &ProcessHistory::threads, 3},
    {"heap_bytes", "bytes of memory in use", &ProcessHistory::heap_bytes, 256 * kibibyte},
    {"resident_bytes", "bytes of resident memory", &ProcessHistory::resident_bytes, 32 * 1024 * kibibyte},
};

Json latency_json(const LatencySummary &summary, double seconds) {
    Json json = {{"count", summary.count},
                 {"per_second", seconds > 0 ? static_cast<double>(summary.count) / seconds : 0},
                 {"mean_ns", summary.mean_ns()},
                 {"max_ns", summary.max_ns}};
    for (const LatencyShare &share : latency_shares) {
        const auto [low, high] = summary.interval(share.share);
        json[share.key] = {{"ns", summary.at(share.share)}, {"low_ns", low}, {"high_ns", high}};
    }
    Json counts = Json::array();
    for (size_t i = 0; i < summary.counts.size(); ++i)
        if (summary.counts[i] != 0)
            counts.push_back({LatencyHistogram::class_end(i), summary.counts[i]});
    json["counts"] = std::move(counts);
    return json;
}

Json latencies_json(const RunState &run, double seconds) {
    Json operations = Json::object();
    for (size_t i = 0; i < operation_count; ++i) {
        const LatencySummary summary = run.operation_summary(static_cast<Operation>(i));
        if (summary.count > 0)
            operations[operation_name(static_cast<Operation>(i))] = latency_json(summary, seconds);
    }
    Json entry_points = Json::object();
    for (size_t i = 0; i < loaded_calls; ++i) {
        const LatencySummary summary = run.call_summary(static_cast<LoadedCall>(i));
        if (summary.count > 0)
            entry_points[loaded_call_name(static_cast<LoadedCall>(i))] = latency_json(summary, seconds);
    }
    return {{"operations", operations}, {"entry_points", entry_points}};
}

// The process that grows most speaks for all.
Json growth_json(RunState &run, const LoadOutcome &outcome) {
    Json json = Json::object();
    const bool were_replaced = outcome.kills > 0 || outcome.deaths > 0;
    for (const Watched &each : watched) {
        Growth worst;
        if (!were_replaced)
            for (const ProcessHistory &history : outcome.histories) {
                const Growth growth = judge_growth(history.*each.history, each.floor);
                if (growth.judged && (!worst.judged || growth.per_hour > worst.per_hour))
                    worst = growth;
            }
        json[each.key] = {{"verdict", !worst.judged ? "not judged"
                                      : worst.grows ? "grows"
                                                    : "steady"},
                          {"per_hour", worst.per_hour},
                          {"error_per_hour", worst.error_per_hour},
                          {"total", worst.total}};
        if (worst.grows)
            run.found(PromiseKind::leak, fmt::format("{}: {:.3g} more in an hour (error {:.2g}), {:.3g} in this run",
                                                     each.what, worst.per_hour, worst.error_per_hour, worst.total));
    }
    return json;
}

Json broken_json(const RunState &run) {
    Json kinds = Json::object();
    for (size_t i = 0; i < promise_kinds; ++i)
        if (const uint64_t count = run.found_count(static_cast<PromiseKind>(i)))
            kinds[promise_word(static_cast<PromiseKind>(i))] = count;
    Json first = Json::array();
    for (const LoadFinding *finding : run.findings())
        first.push_back({{"kind", promise_word(finding->kind)},
                         {"seconds", static_cast<double>(finding->at_ns) / 1e9},
                         {"text", finding->text}});
    return {{"total", run.found_total()}, {"kinds", kinds}, {"first", first}};
}

Json series_json(const LoadOutcome &outcome) {
    Json columns = Json::object();
    const auto column = [&](const char *name, auto member) {
        Json values = Json::array();
        for (const TimePoint &point : outcome.points)
            values.push_back(point.*member);
        columns[name] = std::move(values);
    };
    column("seconds", &TimePoint::seconds);
    column("operations", &TimePoint::operations);
    column("bytes_written", &TimePoint::bytes_written);
    column("bytes_read", &TimePoint::bytes_read);
    column("failures", &TimePoint::failures);
    column("p99_ns", &TimePoint::p99_ns);
    column("handles", &TimePoint::handles);
    column("descriptors", &TimePoint::descriptors);
    column("resident_bytes", &TimePoint::resident_bytes);
    column("heap_bytes", &TimePoint::heap_bytes);
    column("threads", &TimePoint::threads);
    return columns;
}

Json statuses_json(const RunState &run) {
    Json statuses = Json::array();
    for (const RunState::StatusTotal &total : run.status_totals())
        statuses.push_back({{"entry_point", loaded_call_name(total.call)},
                            {"status", total.status},
                            {"status_name", status_name(total.status)},
                            {"count", total.count}});
    return statuses;
}

}  // namespace

Json load_document(RunState &run, const LoadTarget &target, const LoadOutcome &outcome) {
    Json workload = Json::object();
    for (const WorkloadSetting &setting : workload_settings())
        workload[setting.name] = setting.get(run.workload());
    Json lsus = Json::array();
    for (const LoadPlace &place : target.places)
        lsus.push_back(place.lsu);
    uint64_t operations = 0;
    uint64_t written = 0;
    uint64_t read = 0;
    uint64_t failures = 0;
    uint64_t unjudged = 0;
    uint64_t digest = 0;
    for (unsigned stream = 0; stream < run.workload().total_streams(); ++stream) {
        const StreamState &state = run.stream(stream);
        operations += state.next_operation;
        failures += state.failures;
        unjudged += state.unjudged;
        digest ^= Draw::mixed(state.digest + stream);
    }
    // What the load moved, without what verifying it read.
    if (!outcome.points.empty()) {
        written = outcome.points.back().bytes_written;
        read = outcome.points.back().bytes_read;
    }
    const Json growth = growth_json(run, outcome);
    const auto rate = [&outcome](uint64_t count) {
        return outcome.seconds > 0 ? static_cast<double>(count) / outcome.seconds : 0;
    };
    const UnknownCounts &unknown = run.unknown();
    return {{"verdict", run.found_total() == 0 ? "kept" : "broken"},
            {"plugin", target.plain_plugin},
            {"server", target.server},
            {"lsus", lsus},
            {"workload", workload},
            {"ended_by", outcome.ended_by},
            {"verified", outcome.verified},
            {"seconds", outcome.seconds},
            {"processor_seconds", outcome.processor_seconds},
            {"operations", operations},
            {"operations_per_second", rate(operations)},
            {"operations_digest", fmt::format("{:016x}", digest)},
            {"bytes_written", written},
            {"bytes_read", read},
            {"bytes_per_second", rate(written + read)},
            {"failures", failures},
            {"unjudged_reads", unjudged},
            {"kills", outcome.kills},
            {"deaths", outcome.deaths},
            {"unknown",
             {{"told", unknown.told.load()},
              {"total", unknown.total.load()},
              {"new_content", unknown.new_content.load()},
              {"old_content", unknown.old_content.load()},
              {"nothing", unknown.nothing.load()}}},
            {"broken_promises", broken_json(run)},
            {"statuses", statuses_json(run)},
            {"latencies", latencies_json(run, outcome.seconds)},
            {"growth", growth},
            {"series", series_json(outcome)}};
}
