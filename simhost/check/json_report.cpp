#include "simhost/check/json_report.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "base/utf8.h"

using Json = nlohmann::ordered_json;

namespace {

Json place_json(Place place) { return {{"line", place.line}, {"column", place.column}, {"length", place.length}}; }

Json names_json(const std::vector<ListedName> &listed) {
    Json names = Json::array();
    for (const ListedName &each : listed)
        names.push_back(each.name);
    return names;
}

Json contents_json(const Outline &outline) {
    Json contents = {{"summary", contents_summary(outline)}};
    if (outline.grammar == Grammar::array) {
        contents["pools"] = Json::array();
        for (const PoolOutline &pool : outline.pools)
            contents["pools"].push_back({{"name", pool.name.name},
                                         {"volumes", names_json(pool.disks)},
                                         {"hosts", names_json(pool.hosts)},
                                         {"volume_capacity_bytes", pool.disk_size},
                                         {"volume_bytes", pool.disk_size}});  // as the first release calls it
    } else {
        contents["servers"] = Json::array();
        for (const ServerOutline &server : outline.servers)
            if (server.is_read)
                contents["servers"].push_back({{"name", server.name.name}, {"volumes", names_json(server.volumes)}});
    }
    return contents;
}

// A path as the path of a URI.
std::string uri_of(const std::string &path) {
    std::string uri;
    for (const char byte : path) {
        const bool is_plain = (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
                              (byte >= '0' && byte <= '9') ||
                              std::string_view("-._~/").find(byte) != std::string_view::npos;
        uri += is_plain ? std::string(1, byte) : fmt::format("%{:02X}", static_cast<unsigned char>(byte));
    }
    return uri;
}

Json location(const CheckedFile &file, Place place) {
    Json physical = {{"artifactLocation", {{"uri", uri_of(file.name)}}}};
    if (place.line != 0) {
        const std::string_view line = file.source.line(place.line);
        const size_t column = 1 + utf8_count(line.substr(0, place.column - 1));
        const size_t from = std::min(place.column - 1, line.size());
        physical["region"] = {{"startLine", place.line},
                              {"startColumn", column},
                              {"endColumn", column + utf8_count(line.substr(from, place.length))}};
    }
    return {{"physicalLocation", physical}};
}

Json sarif_result(const CheckedFile &file, const Finding &finding) {
    const std::string text = finding.help.empty() ? finding.text : fmt::format("{} ({})", finding.text, finding.help);
    Json result = {{"ruleId", rule_id(finding.rule)},
                   {"ruleIndex", static_cast<size_t>(finding.rule)},
                   {"level", severity_word(finding.severity)},
                   {"message", {{"text", text}}},
                   {"locations", Json::array({location(file, finding.place)})}};
    for (const Note &note : finding.notes) {
        Json related = location(file, note.place);
        related["message"] = {{"text", note.text}};
        result["relatedLocations"].push_back(related);
    }
    return result;
}

}  // namespace

Json finding_json(const Finding &finding) {
    Json notes = Json::array();
    for (const Note &note : finding.notes)
        notes.push_back({{"place", place_json(note.place)}, {"text", note.text}});
    return {{"severity", severity_word(finding.severity)},
            {"id", rule_id(finding.rule)},
            {"place", finding.place.line == 0 ? Json() : place_json(finding.place)},
            {"text", finding.text},
            {"help", finding.help},
            {"notes", notes}};
}

Json file_json(const CheckedFile &file) {
    Json findings = Json::array();
    for (const Finding &finding : file.findings)
        findings.push_back(finding_json(finding));
    return {{"file", file.name},
            {"grammar", file.outline.grammar == Grammar::array ? "array" : "copan"},
            {"errors", count(file.findings, Severity::error)},
            {"warnings", count(file.findings, Severity::warning)},
            {"ignored", file.ignored},
            {"contents", contents_json(file.outline)},
            {"findings", findings}};
}

Json unchecked_json(const UncheckedFile &file) { return {{"file", file.path}, {"unreadable", file.reason}}; }

Json sarif_log(const std::vector<CheckedFile> &files, const std::vector<UncheckedFile> &unchecked,
               const SarifRun &run) {
    Json rules = Json::array();
    for (const RuleText &rule : rule_texts())
        rules.push_back({{"id", rule.id}, {"shortDescription", {{"text", rule.summary}}}});
    Json results = Json::array();
    for (const CheckedFile &file : files)
        for (const Finding &finding : file.findings)
            results.push_back(sarif_result(file, finding));
    Json notifications = Json::array();
    for (const UncheckedFile &file : unchecked) {
        const Json place = {{"physicalLocation", {{"artifactLocation", {{"uri", uri_of(file.path)}}}}}};
        notifications.push_back(
            {{"level", "error"}, {"message", {{"text", file.reason}}}, {"locations", Json::array({place})}});
    }
    const Json invocation = {{"executionSuccessful", unchecked.empty()},
                             {"exitCode", run.exit_status},
                             {"toolExecutionNotifications", notifications}};
    const Json driver = {{"name", "simhost check"}, {"version", run.version}, {"rules", rules}};
    const Json sarif_run = {{"tool", {{"driver", driver}}},
                            {"invocations", Json::array({invocation})},
                            {"columnKind", "unicodeCodePoints"},
                            {"results", results}};
    return {{"$schema", "https://json.schemastore.org/sarif-2.1.0.json"},
            {"version", "2.1.0"},
            {"runs", Json::array({sarif_run})}};
}
