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

std::string joined(const std::vector<std::string> &names) {
    std::string text;
    for (const std::string &name : names)
        text += (text.empty() ? "" : ", ") + markup_name(name);
    return text.empty() ? "<span class=\"tag\">none</span>" : text;
}

std::string volume_list(const std::vector<VolumeView> &volumes) {
    std::string items;
    for (const VolumeView &volume : volumes)
        items += fmt::format("<li title=\"{}\">{}</li>", markup_text(volume.identifier), markup_name(volume.name));
    return fmt::format("<ul>{}</ul>\n", items);
}

std::string entry(const char *term, const std::string &text) {
    return fmt::format("<dt>{}</dt><dd>{}</dd>", term, text);
}

std::string exact_size(uint64_t bytes) {
    return fmt::format("<span title=\"{} bytes\">{}</span>", bytes, binary_size(bytes));
}

std::string pool_card(const PoolView &pool, uint64_t largest) {
    const auto hosts = nlohmann::json(pool.hosts).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    const double share =
        largest == 0 ? 0 : 100.0 * static_cast<double>(pool.capacity_bytes) / static_cast<double>(largest);
    const std::string volumes =
        pool.volumes.empty() ? "none" : fmt::format("{} of {}", pool.volumes.size(), exact_size(pool.volume_bytes));
    return fmt::format(
        "<section class=\"card{}\" data-hosts=\"{}\">\n<h2>{}</h2>\n{}"
        "<div class=\"bar\" title=\"compared with the largest pool\"><div style=\"width:{:.1f}%\"></div></div>\n"
        "<dl>{}{}{}{}</dl>\n{}</section>\n",
        pool.is_listed ? "" : " unlisted", markup_text(hosts), markup_name(pool.name),
        pool.is_listed ? "" : "<p class=\"tag\">never listed</p>\n", share,
        entry("capacity", exact_size(pool.capacity_bytes)), entry("hosts", joined(pool.hosts)),
        entry("directory", markup_text(pool.storage_dir) + (pool.has_default_dir ? " <i>by default</i>" : "")),
        entry("volumes", volumes), volume_list(pool.volumes));
}

std::string notice(const std::string &text, bool is_bad) {
    return fmt::format("<p class=\"notice{}\">{}</p>\n", is_bad ? " bad" : "", text);
}

std::string host_buttons(const View &view) {
    std::string buttons = "<button data-host=\"*\" aria-pressed=\"true\">all hosts</button>";
    for (const HostView &host : view.hosts)
        buttons += fmt::format("<button data-host=\"{0}\" aria-pressed=\"false\">{1}</button>", markup_text(host.name),
                               markup_name(host.name));
    return fmt::format("<div class=\"hosts\"><span class=\"soft\">as seen by</span>{}</div>\n", buttons);
}

std::string array_body(const View &view) {
    uint64_t largest = 0;
    for (const PoolView &pool : view.pools)
        largest = std::max(largest, pool.capacity_bytes);
    std::string cards;
    for (const PoolView &pool : view.pools)
        cards += pool_card(pool, largest);
    return notice(fmt::format("Mounts: {}.", markup_text(mount_words(view))), !view.mounts_succeed) +
           host_buttons(view) + fmt::format("<div class=\"cards\">\n{}</div>\n", cards);
}

std::string copan_body(const View &view) {
    std::string cards;
    for (const ServerView &server : view.servers)
        cards += fmt::format("<section class=\"card\" data-hosts=\"[]\">\n<h2>{}</h2>\n<dl>{}{}</dl>\n{}</section>\n",
                             markup_text(server.name),
                             entry("directory", server.storage_dir.empty()
                                                    ? "<span class=\"tag\">none: properties and images fail</span>"
                                                    : markup_text(server.storage_dir)),
                             entry("volumes", fmt::format("{}", server.volumes.size())), volume_list(server.volumes));
    return fmt::format("<div class=\"cards\">\n{}</div>\n", cards);
}

std::string check_notice(const View &view) {
    if (view.errors + view.warnings == 0)
        return "";
    return notice(fmt::format("simhost check finds {} and {} in this file.", counted(view.errors, "error"),
                              counted(view.warnings, "warning")),
                  view.errors != 0);
}

}  // namespace

std::string html_of(const View &view) {
    return fmt::format(
        "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
        "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src 'unsafe-inline'; "
        "script-src 'unsafe-inline'\">\n"
        "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
        "<title>{0}</title>\n<style>{1}</style>\n</head>\n<body>\n<main>\n<h1>{0}</h1>\n<p class=\"soft\">{2}: "
        "{3}</p>\n"
        "{4}{5}<footer class=\"soft\">What a framework sees, asked from the plug-in; pools in the order of its list. "
        "Point at a "
        "size for its bytes, at a volume for its {6}.</footer>\n</main>\n<script>{7}</script>\n</body>\n</html>\n",
        markup_text(view.file), page_style, grammar_word(view.grammar), view.contents, check_notice(view),
        view.grammar == Grammar::array ? array_body(view) : copan_body(view),
        view.grammar == Grammar::array ? "identifier" : "directory", page_script);
}
