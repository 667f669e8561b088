#include "simhost/show/text_view.h"

#include <fmt/format.h>

#include <algorithm>

#include "base/escaped_text.h"
#include "base/text_columns.h"
#include "simhost/check/findings.h"
#include "simhost/report/quantities.h"

namespace {

struct Node {
    std::string text;
    std::vector<Node> below;
};

void draw(const Node &node, const std::string &indent, std::string &tree) {
    for (size_t i = 0; i < node.below.size(); ++i) {
        const bool is_last = i + 1 == node.below.size();
        tree += indent + (is_last ? "└─ " : "├─ ") + node.below[i].text + "\n";
        draw(node.below[i], indent + (is_last ? "   " : "│  "), tree);
    }
}

std::string joined(const std::vector<std::string> &names, const char *otherwise) {
    std::string text;
    for (const std::string &name : names)
        text += (text.empty() ? "" : ", ") + shown(name);
    return text.empty() ? otherwise : text;
}

std::vector<Node> volume_nodes(const std::vector<VolumeView> &volumes) {
    size_t width = 0;
    for (const VolumeView &volume : volumes)
        width = std::max(width, text_columns(shown(volume.name)));
    std::vector<Node> nodes;
    for (const VolumeView &volume : volumes) {
        const bool has_identifier = !volume.identifier.empty() && volume.identifier != volume.name;
        nodes.push_back({has_identifier
                             ? fmt::format("{}  {}", at_left(shown(volume.name), width), printable(volume.identifier))
                             : shown(volume.name),
                         {}});
    }
    return nodes;
}

Node pool_node(const PoolView &pool) {
    Node node{fmt::format("pool {}{}", shown(pool.name), pool.is_listed ? "" : ": never listed"), {}};
    node.below.push_back({fmt::format("capacity   {}", bytes_in_words(pool.capacity_bytes)), {}});
    node.below.push_back({fmt::format("hosts      {}", joined(pool.hosts, "none")), {}});
    node.below.push_back(
        {fmt::format("directory  {}{}", printable(pool.storage_dir), pool.has_default_dir ? " (by default)" : ""), {}});
    const std::string each = pool.volumes.empty() ? "" : fmt::format(" of {}", bytes_in_words(pool.volume_bytes));
    node.below.push_back({counted(pool.volumes.size(), "volume") + each, volume_nodes(pool.volumes)});
    return node;
}

Node array_node(const View &view) {
    Node root;
    root.below.push_back({fmt::format("mounts: {}", mount_words(view)), {}});
    for (const PoolView &pool : view.pools)
        root.below.push_back(pool_node(pool));
    for (const HostView &host : view.hosts)
        root.below.push_back({fmt::format("host {} sees {}", shown(host.name), joined(host.pools, "nothing")), {}});
    return root;
}

Node copan_node(const View &view) {
    Node root;
    for (const ServerView &server : view.servers) {
        const std::string directory =
            server.storage_dir.empty() ? "none: properties and images fail" : printable(server.storage_dir);
        root.below.push_back({fmt::format("server {}", printable(server.name)),
                              {{fmt::format("directory  {}", directory), {}},
                               {counted(server.volumes.size(), "volume"), volume_nodes(server.volumes)}}});
    }
    return root;
}

}  // namespace

std::string mount_words(const View &view) {
    if (view.mounts_succeed)
        return "carried out";
    return fmt::format("all fail, with {} inside the simulator (MOUNT_BEHAVIOR is {})", view.mount_status,
                       in_apostrophes(view.mount_behavior));
}

std::string text_of(const View &view) {
    std::string tree = fmt::format("{}: {}, {}\n", printable(view.file), grammar_word(view.grammar), view.contents);
    draw(view.grammar == Grammar::array ? array_node(view) : copan_node(view), "", tree);
    return tree;
}
