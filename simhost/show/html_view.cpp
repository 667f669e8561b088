#include "simhost/show/html_view.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "simhost/check/findings.h"
#include "simhost/report/binary_size.h"
#include "simhost/show/markup.h"
#include "simhost/show/page_style.h"
#include "simhost/show/text_view.h"

namespace {

constexpr size_t most_unfolded = 12;     // of a pool that are shown unfolded
constexpr size_t most_findings = 5;      // likewise
constexpr size_t most_host_buttons = 8;  // more hosts are in a list to choose from

std::string joined(const std::vector<std::string> &names) {
    std::string text;
    for (const std::string &name : names)
        text += (text.empty() ? "" : ", ") + markup_name(name);
    return text.empty() ? "<span class=\"tag\">none</span>" : text;
}

// Items with a fold behind the first few.
std::string folded(const std::vector<std::string> &items, size_t most, const char *list_class) {
    const auto list = [&](size_t first, size_t last) {
        std::string text;
        for (size_t i = first; i < last; ++i)
            text += items[i];
        return fmt::format("<ul class=\"{}\">{}</ul>\n", list_class, text);
    };
    if (items.empty())
        return "";
    if (items.size() <= most)
        return list(0, items.size());
    return list(0, most) + fmt::format("<details><summary>and {} more</summary>\n{}</details>\n", items.size() - most,
                                       list(most, items.size()));
}

// Identifiers stand there to be read: not everybody has something to point with.
std::string volume_list(const std::vector<VolumeView> &volumes) {
    std::vector<std::string> items;
    for (const VolumeView &volume : volumes) {
        const bool has_identifier = !volume.identifier.empty() && volume.identifier != volume.name;
        items.push_back(
            fmt::format("<li>{}{}</li>", markup_name(volume.name),
                        has_identifier ? fmt::format("<span>{}</span>", markup_text(volume.identifier)) : ""));
    }
    return folded(items, most_unfolded, "volumes");
}

std::string entry(const char *term, const std::string &text) {
    return fmt::format("<dt>{}</dt><dd>{}</dd>", term, text);
}

std::string exact_size(uint64_t bytes) {
    std::string rounded = binary_size(bytes);
    if (const size_t blank = rounded.find(' '); blank != std::string::npos)
        rounded.replace(blank, 1, "&nbsp;");
    return bytes < 1024 ? rounded : fmt::format("{} bytes <span class=\"soft\">({})</span>", bytes, rounded);
}

std::string pool_card(const PoolView &pool, uint64_t largest) {
    const auto hosts = nlohmann::json(pool.hosts).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    const double share =
        largest == 0 ? 0 : 100.0 * static_cast<double>(pool.capacity_bytes) / static_cast<double>(largest);
    const std::string volumes =
        pool.volumes.empty() ? "none" : fmt::format("{} of {}", pool.volumes.size(), exact_size(pool.volume_bytes));
    return fmt::format(
        "<section class=\"card{}\" data-hosts=\"{}\">\n<h2>{}</h2>\n{}"
        "<div class=\"bar\" aria-hidden=\"true\"><div style=\"width:{:.1f}%\"></div></div>\n"
        "<dl>{}{}{}{}</dl>\n{}</section>\n",
        pool.is_listed ? "" : " unlisted", markup_text(hosts), markup_name(pool.name),
        pool.is_listed ? "" : "<p class=\"tag\">never listed</p>\n", share,
        entry("capacity", exact_size(pool.capacity_bytes)), entry("hosts", joined(pool.hosts)),
        entry("directory", fmt::format("<code>{}</code>{}", markup_text(pool.storage_dir),
                                       pool.has_default_dir ? " <i>by default</i>" : "")),
        entry("volumes", volumes), volume_list(pool.volumes));
}

std::string notice(const std::string &text, bool is_bad) {
    return fmt::format("<div class=\"notice{}\">{}</div>\n", is_bad ? " bad" : "", text);
}

std::string host_choice(std::vector<HostView> hosts) {
    std::sort(hosts.begin(), hosts.end(), [](const HostView &a, const HostView &b) { return a.name < b.name; });
    std::string choices;
    if (hosts.size() <= most_host_buttons) {
        choices = "<button data-host=\"*\" aria-pressed=\"true\">all hosts</button>";
        for (const HostView &host : hosts)
            choices += fmt::format("<button data-host=\"{0}\" aria-pressed=\"false\">{1}</button>",
                                   markup_text(host.name), markup_name(host.name));
        return fmt::format(
            "<div class=\"hosts\" role=\"group\" aria-label=\"as seen by\"><span class=\"soft\">as seen "
            "by</span>{}</div>\n",
            choices);
    }
    choices = fmt::format("<option value=\"*\">all {} hosts</option>", hosts.size());
    for (const HostView &host : hosts)
        choices += fmt::format("<option value=\"{0}\">{1}</option>", markup_text(host.name),
                               host.name.empty() ? "(no name)" : markup_text(host.name));
    return fmt::format("<label>as seen by<select>{}</select></label>\n", choices);
}

std::string controls(const std::string &choice, const char *what) {
    return fmt::format(
        "<div class=\"controls\">\n<label>filter<input id=\"filter\" type=\"search\" placeholder=\"{}\" "
        "autocomplete=\"off\"></label>\n{}<span id=\"shown\" class=\"soft\" role=\"status\"></span>\n</div>\n",
        what, choice);
}

std::string array_body(const View &view) {
    uint64_t largest = 0;
    for (const PoolView &pool : view.pools)
        largest = std::max(largest, pool.capacity_bytes);
    std::string cards;
    for (const PoolView &pool : view.pools)
        cards += pool_card(pool, largest);
    return notice(fmt::format("Mounts: {}.", markup_text(mount_words(view))), !view.mounts_succeed) +
           controls(host_choice(view.hosts), "pool, host, volume, directory") +
           fmt::format("<div class=\"cards\">\n{}</div>\n", cards);
}

std::string copan_body(const View &view) {
    std::string cards;
    for (const ServerView &server : view.servers)
        cards += fmt::format("<section class=\"card\" data-hosts=\"[]\">\n<h2>{}</h2>\n<dl>{}{}</dl>\n{}</section>\n",
                             markup_text(server.name),
                             entry("directory", server.storage_dir.empty()
                                                    ? "<span class=\"tag\">none: properties and images fail</span>"
                                                    : fmt::format("<code>{}</code>", markup_text(server.storage_dir))),
                             entry("volumes", fmt::format("{}", server.volumes.size())), volume_list(server.volumes));
    return controls("", "server, volume, directory") + fmt::format("<div class=\"cards\">\n{}</div>\n", cards);
}

std::string check_notice(const View &view) {
    if (view.findings.empty())
        return "";
    std::vector<std::string> items;
    for (const Finding &finding : view.findings) {
        const bool is_error = finding.severity == Severity::error;
        items.push_back(fmt::format(
            "<li><span class=\"{}\">{}</span> {}{}{} <code>[{}]</code></li>", is_error ? "error" : "soft",
            severity_word(finding.severity),
            finding.place.line == 0 ? "" : fmt::format("line {}: ", finding.place.line), markup_text(finding.text),
            finding.help.empty() ? "" : fmt::format(" <span class=\"soft\">({})</span>", markup_text(finding.help)),
            rule_id(finding.rule)));
    }
    return notice(fmt::format("simhost check finds {} and {} in this file.\n{}", counted(view.errors, "error"),
                              counted(view.warnings, "warning"), folded(items, most_findings, "findings")),
                  view.errors != 0);
}

}  // namespace

std::string html_of(const View &view) {
    const bool is_array = view.grammar == Grammar::array;
    return fmt::format(
        "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
        "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src 'unsafe-inline'; "
        "script-src 'unsafe-inline'\">\n"
        "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
        "<title>{0}</title>\n<style>{1}</style>\n</head>\n<body>\n<main>\n<h1>{0}</h1>\n<p class=\"soft\">{2}: "
        "{3}</p>\n"
        "{4}{5}<footer class=\"soft\">What a framework sees, worked out with the plug-in's own readers{6}. Below a "
        "volume's name stands its {7}.</footer>\n</main>\n<script>{8}</script>\n</body>\n</html>\n",
        markup_text(view.file), page_style, grammar_word(view.grammar), view.contents, check_notice(view),
        is_array ? array_body(view) : copan_body(view),
        is_array ? "; pools in the order of its list, bars compared with the largest pool" : "",
        is_array ? "identifier, if it has another one" : "directory", page_script);
}
