#include "simhost/show/dot_view.h"

#include <fmt/format.h>

#include <unordered_map>

#include "simhost/check/findings.h"
#include "simhost/report/binary_size.h"
#include "simhost/show/markup.h"
#include "simhost/show/text_view.h"

namespace {

constexpr size_t most_volumes = 12;  // shown one by one

constexpr char blue[] = "#2f5d8c";
constexpr char red[] = "#a33a2c";

std::string row(const std::string &text, const char *attributes = "") {
    return fmt::format("      <tr><td align=\"left\" {}>{}</td></tr>\n", attributes, text);
}

std::string volume_rows(const std::vector<VolumeView> &volumes) {
    constexpr char shaded[] = "bgcolor=\"#eef3fa\"";
    std::string rows;
    const size_t shown = volumes.size() > most_volumes ? most_volumes - 1 : volumes.size();
    for (size_t i = 0; i < shown; ++i)
        rows += row(markup_name(volumes[i].name), shaded);
    if (shown < volumes.size())
        rows += row(fmt::format("<i>and {} more</i>", volumes.size() - shown), shaded);
    return rows;
}

std::string box(const std::string &id, const std::string &title, const char *colour, const std::string &rows) {
    return fmt::format(
        "  {} [label=<\n"
        "    <table border=\"1\" color=\"{}\" cellborder=\"0\" cellspacing=\"2\" cellpadding=\"4\" "
        "bgcolor=\"#ffffff\">\n"
        "      <tr><td align=\"left\" bgcolor=\"{}\"><font color=\"#ffffff\"><b>{}</b></font></td></tr>\n{}"
        "    </table>>];\n",
        id, colour, colour, title, rows);
}

std::string pool_box(const PoolView &pool, const std::string &id) {
    const std::string volumes = pool.volumes.empty() ? "no volumes"
                                                     : fmt::format("{} of {}", counted(pool.volumes.size(), "volume"),
                                                                   binary_size(pool.volume_bytes));
    return box(id, fmt::format("pool {}", markup_name(pool.name)), pool.is_listed ? blue : red,
               (pool.is_listed ? "" : row("never listed")) +
                   row(fmt::format("{}: {}", binary_size(pool.capacity_bytes), volumes)) +
                   row(markup_text(pool.storage_dir)) + volume_rows(pool.volumes));
}

std::string array_graph(const View &view) {
    std::string graph;
    std::unordered_map<std::string, std::string> ids;
    for (size_t i = 0; i < view.pools.size(); ++i) {
        const std::string id = ids[view.pools[i].name] = fmt::format("pool{}", i);
        graph += pool_box(view.pools[i], id);
    }
    for (size_t i = 0; i < view.hosts.size(); ++i) {
        graph += fmt::format("  host{} [label=<{}>, shape=box, style=\"rounded,filled\", fillcolor=\"#f4e7c8\"];\n", i,
                             markup_name(view.hosts[i].name));
        for (const std::string &pool : view.hosts[i].pools)
            graph += fmt::format("  host{} -> {};\n", i, ids.at(pool));
    }
    return graph;
}

std::string copan_graph(const View &view) {
    std::string graph;
    for (size_t i = 0; i < view.servers.size(); ++i) {
        const ServerView &server = view.servers[i];
        const std::string directory = server.storage_dir.empty() ? "no directory" : markup_text(server.storage_dir);
        graph += box(fmt::format("server{}", i), fmt::format("server {}", markup_text(server.name)), blue,
                     row(directory) + volume_rows(server.volumes));
    }
    return graph;
}

}  // namespace

std::string dot_of(const View &view) {
    const bool is_array = view.grammar == Grammar::array;
    const bool mounts_fail = is_array && !view.mounts_succeed;
    return fmt::format(
        "digraph server {{\n"
        "  rankdir=LR;\n"
        "  label=<{}: {}, {}{}>;\n"
        "  labelloc=t;\n"
        "  fontname=\"Helvetica\";\n"
        "  node [shape=plain, fontname=\"Helvetica\", fontsize=11];\n"
        "  edge [color=\"#8a8a8a\"];\n"
        "{}"
        "}}\n",
        markup_text(view.file), grammar_word(view.grammar), view.contents,
        mounts_fail ? fmt::format("<br/>mounts: {}", markup_text(mount_words(view))) : "",
        is_array ? array_graph(view) : copan_graph(view));
}
