#include "conformance/explore/exploration_report.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "conformance/explore/history_maker.h"
#include "conformance/model/reached.h"

namespace conformance {

namespace {

const char *kind_name(HistoryFinding::Kind kind) {
    switch (kind) {
        case HistoryFinding::differs:
            return "differs";
        case HistoryFinding::crash:
            return "crash";
        case HistoryFinding::hang:
            return "hang";
        default:
            return "none";
    }
}

std::string finding_place(const History &history, const HistoryFinding &finding) {
    const auto index = static_cast<size_t>(finding.call);
    return index < history.calls.size() ? call_text(history.calls[index]) : "when all is closed";
}

// In the order of the calls, "-" for one that did not return.
std::string statuses_text(const HistoryFinding &finding) {
    std::string text;
    for (const auto &status : finding.statuses)
        text += fmt::format("{}{}", text.empty() ? "" : " ", status ? fmt::to_string(*status) : "-");
    return text;
}

std::vector<std::string> parts_not_reached(const ExplorationResult &result) {
    std::vector<std::string> missing;
    for (size_t i = 0; i < result.reached.size(); ++i)
        if (result.reached[i] == 0)
            missing.push_back(model::parts()[i]);
    return missing;
}

}  // namespace

std::string finding_text(const History &history, const HistoryFinding &finding, const Sides &sides) {
    const size_t width = std::max({sides.expected.size(), sides.got.size(), size_t{8}});
    std::string text = history_text(history) + "\n";
    const auto line = [&](const std::string &label, const std::string &what) {
        text += fmt::format("  {:<{}}  {}\n", label, width, what);
    };
    line("found", fmt::format("{} in {}", kind_name(finding.kind), finding.what));
    line("called", finding_place(history, finding));
    line(sides.expected, finding.expected);
    line(sides.got, finding.got);
    if (!finding.statuses.empty())
        line("returned", statuses_text(finding));
    return text;
}

std::string figures_text(const ExplorationResult &result) {
    const auto missing = parts_not_reached(result);
    std::string text =
        fmt::format("{} histories, {} calls in {:.1f} s; {} of {} parts of the model reached\n", result.histories,
                    result.calls, result.seconds, result.reached.size() - missing.size(), result.reached.size());
    for (const std::string &part : missing)
        text += fmt::format("  not reached: {}\n", part);
    return text;
}

std::string exploration_json(const ExplorationPlan &plan, const ExplorationResult &result, const Found *found,
                             const std::string &plugin, const std::string &against) {
    nlohmann::json out = {{"plugin", plugin},      {"seed", plan.seed},         {"histories", result.histories},
                          {"calls", result.calls}, {"seconds", result.seconds}, {"finding", nullptr}};
    if (!against.empty())
        out["against"] = against;
    for (size_t i = 0; i < result.reached.size(); ++i)
        out["reached"][model::parts()[i]] = result.reached[i];
    if (found != nullptr) {
        const HistoryFinding &finding = found->finding;
        auto calls = nlohmann::json::array();
        for (const model::Call &call : found->history.calls)
            calls.push_back(call_text(call));
        auto statuses = nlohmann::json::array();
        for (const auto &status : finding.statuses)
            statuses.push_back(status ? nlohmann::json(*status) : nlohmann::json(nullptr));
        out["finding"] = {{"history", *result.number},
                          {"kind", kind_name(finding.kind)},
                          {"again", found->is_again},
                          {"what", finding.what},
                          {"expected", finding.expected},
                          {"got", finding.got},
                          {"calls", calls},
                          {"returned", statuses},
                          {"files", configuration_of(found->history)}};
    }
    // What a plug-in says need not be UTF-8.
    return out.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
}

}  // namespace conformance
