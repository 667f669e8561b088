#include "simhost/show/dot_view.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <unordered_map>

#include "base/utf8.h"
#include "simhost/check/findings.h"
#include "simhost/report/binary_size.h"
#include "simhost/show/markup.h"
#include "simhost/show/text_view.h"

namespace {

constexpr size_t most_volumes = 12;  // shown one by one
constexpr size_t most_rows = 8;      // pools below each other
constexpr size_t readable_pools = 30;
constexpr size_t longest_path = 40;  // characters

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

// A long path loses its middle: its beginning and its end tell most.
std::string short_path(const std::string &path) {
    const size_t characters = utf8_count(path);
    if (characters <= longest_path)
        return markup_text(path);
    std::string head;
    std::string tail = path;
    for (size_t i = 0; i < characters; ++i) {
        const size_t length = utf8_length(tail);
        if (i < longest_path / 3)
            head += tail.substr(0, length);
        else if (i >= characters - (longest_path - longest_path / 3 - 1))
            break;
        tail.erase(0, length);
    }
    return markup_text(head) + "…" + markup_text(tail);
}

std::string table(const std::string &title, const char *colour, const std::string &rows) {
    return fmt::format(
        "<table border=\"1\" color=\"{}\" cellborder=\"0\" cellspacing=\"2\" cellpadding=\"4\" "
        "bgcolor=\"#ffffff\">\n"
        "      <tr><td align=\"left\" bgcolor=\"{}\"><font color=\"#ffffff\"><b>{}</b></font></td></tr>\n{}"
        "    </table>",
        colour, colour, title, rows);
}

std::string pool_table(const PoolView &pool, bool with_volumes) {
    const std::string volumes = pool.volumes.empty() ? "no volumes"
                                                     : fmt::format("{} of {}", counted(pool.volumes.size(), "volume"),
                                                                   binary_size(pool.volume_bytes));
    return table(fmt::format("pool {}", markup_name(pool.name)), pool.is_listed ? blue : red,
                 (pool.is_listed ? "" : row("never listed")) +
                     row(fmt::format("{}: {}", binary_size(pool.capacity_bytes), volumes)) +
                     row(short_path(pool.storage_dir)) + (with_volumes ? volume_rows(pool.volumes) : ""));
}

// Tables side by side, in columns of at most so many rows.
std::string grid(const std::vector<std::string> &tables) {
    if (tables.size() == 1)
        return tables[0];
    size_t rows = 1;
    while (rows < most_rows && rows * rows < tables.size())
        ++rows;
    std::string cells;
    for (size_t i = 0; i < rows; ++i) {
        cells += "    <tr>";
        for (size_t j = i; j < tables.size(); j += rows)
            cells += fmt::format("<td valign=\"top\">{}</td>", tables[j]);
        cells += "</tr>\n";
    }
    return fmt::format(
        "<table border=\"1\" color=\"#8a8a8a\" style=\"rounded\" cellborder=\"0\" cellspacing=\"4\" "
        "cellpadding=\"2\">\n"
        "{}    </table>",
        cells);
}

// Pools that the same hosts see: one picture of them all, and one arrow from each host.
struct HostSetGroup {
    std::vector<std::string> hosts;
    std::vector<std::string> tables;
};

std::vector<HostSetGroup> groups_of(const View &view, bool with_volumes) {
    std::vector<HostSetGroup> groups;
    std::map<std::vector<std::string>, size_t> indices;
    for (const PoolView &pool : view.pools) {
        std::vector<std::string> hosts = pool.is_listed ? pool.hosts : std::vector<std::string>();
        std::sort(hosts.begin(), hosts.end());
        const auto [index, is_new] = indices.emplace(hosts, groups.size());
        if (is_new)
            groups.push_back({hosts, {}});
        groups[index->second].tables.push_back(pool_table(pool, with_volumes));
    }
    return groups;
}

// With many sets of hosts, arrows would cross each other over a page of endless height: the hosts stand above their pools.
std::string graph_of_many(const View &view) {
    std::vector<std::string> tables;
    for (const HostSetGroup &group : groups_of(view, false)) {
        std::string hosts;
        for (const std::string &host : group.hosts)
            hosts += (hosts.empty() ? "" : ", ") + markup_name(host);
        tables.push_back(table(hosts.empty() ? "no host" : hosts, "#6b5a2a",
                               fmt::format("      <tr><td>{}</td></tr>\n", grid(group.tables))));
    }
    return fmt::format("  pools [label=<\n    {}>];\n", grid(tables));
}

std::string array_graph(const View &view) {
    const std::vector<HostSetGroup> groups = groups_of(view, view.pools.size() <= readable_pools);
    if (groups.size() > most_rows)
        return graph_of_many(view);
    std::string graph;
    std::unordered_map<std::string, std::string> host_ids;
    std::vector<HostView> hosts = view.hosts;
    std::sort(hosts.begin(), hosts.end(), [](const HostView &a, const HostView &b) { return a.name < b.name; });
    for (size_t i = 0; i < hosts.size(); ++i) {
        const std::string id = host_ids[hosts[i].name] = fmt::format("host{}", i);
        graph += fmt::format("  {} [label=<{}>, shape=box, style=\"rounded,filled\", fillcolor=\"#f4e7c8\"];\n", id,
                             markup_name(hosts[i].name));
    }
    for (size_t i = 0; i < groups.size(); ++i) {
        graph += fmt::format("  pools{} [label=<\n    {}>];\n", i, grid(groups[i].tables));
        for (const std::string &host : groups[i].hosts)
            graph += fmt::format("  {} -> pools{};\n", host_ids.at(host), i);
    }
    return graph;
}

std::string copan_graph(const View &view) {
    std::vector<std::string> tables;
    for (const ServerView &server : view.servers) {
        const std::string directory = server.storage_dir.empty() ? "no directory" : short_path(server.storage_dir);
        tables.push_back(table(fmt::format("server {}", markup_text(server.name)), blue,
                               row(directory) + volume_rows(server.volumes)));
    }
    std::string graph;
    // Nothing ties servers together, so each is free to stand where there is room.
    if (tables.size() <= most_rows)
        for (size_t i = 0; i < tables.size(); ++i)
            graph += fmt::format("  server{} [label=<\n    {}>];\n", i, tables[i]);
    else
        graph += fmt::format("  servers [label=<\n    {}>];\n", grid(tables));
    return graph;
}

}  // namespace

std::string dot_of(const View &view) {
    const bool is_array = view.grammar == Grammar::array;
    const bool mounts_fail = is_array && !view.mounts_succeed;
    const bool is_large = std::max(view.pools.size(), view.servers.size()) > readable_pools;
    return fmt::format(
        "digraph server {{\n"
        "  rankdir=LR;\n"
        "  bgcolor=\"#ffffff\";\n"
        "  label=<{}: {}, {}{}{}>;\n"
        "  labelloc=t;\n"
        "  fontname=\"Helvetica\";\n"
        "  node [shape=plain, fontname=\"Helvetica\", fontsize=11];\n"
        "  edge [color=\"#6a6a6a\"];\n"
        "{}"
        "}}\n",
        markup_text(view.file), grammar_word(view.grammar), view.contents,
        mounts_fail ? fmt::format("<br/>mounts: {}", markup_text(mount_words(view))) : "",
        is_large ? "<br/><i>so much is easier to read on the page: simhost show --format html</i>" : "",
        is_array ? array_graph(view) : copan_graph(view));
}
