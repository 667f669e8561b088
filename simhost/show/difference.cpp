#include "simhost/show/difference.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <set>
#include <unordered_map>
#include <unordered_set>

#include "base/escaped_text.h"
#include "simhost/check/findings.h"
#include "simhost/report/quantities.h"
#include "simhost/show/text_view.h"

namespace {

using DifferenceJson = nlohmann::ordered_json;

std::string list_of(const std::vector<std::string> &names) {
    std::string list;
    for (const std::string &name : names)
        list += (list.empty() ? "" : ", ") + shown(name);
    return list.empty() ? "none" : list;
}

void compare(std::vector<Change> &changes, const char *what, const std::string &name, const std::string &before,
             const std::string &after) {
    if (before != after)
        changes.push_back({what, name, before, after});
}

// Names that both lists hold, in the order of the first.
std::vector<std::string> common(const std::vector<std::string> &names, const std::vector<std::string> &others) {
    const std::unordered_set<std::string> known(others.begin(), others.end());
    std::vector<std::string> found;
    for (const std::string &name : names)
        if (known.count(name) != 0)
            found.push_back(name);
    return found;
}

std::vector<std::string> names_of(const std::vector<VolumeView> &volumes) {
    std::vector<std::string> names;
    names.reserve(volumes.size());
    for (const VolumeView &volume : volumes)
        names.push_back(volume.name);
    return names;
}

void compare_volumes(std::vector<Change> &changes, const std::string &owner, const std::vector<VolumeView> &before,
                     const std::vector<VolumeView> &after, const std::string &size_before,
                     const std::string &size_after) {
    const std::vector<std::string> old_names = names_of(before);
    const std::vector<std::string> new_names = names_of(after);
    const std::vector<std::string> kept_before = common(old_names, new_names);
    const std::vector<std::string> kept_after = common(new_names, old_names);
    const std::unordered_set<std::string> kept(kept_before.begin(), kept_before.end());
    for (const std::string &name : old_names)
        if (kept.count(name) == 0)
            changes.push_back({"volume", fmt::format("{}:{}", owner, name), size_before, ""});
    for (const std::string &name : new_names)
        if (kept.count(name) == 0)
            changes.push_back({"volume", fmt::format("{}:{}", owner, name), "", size_after});
    compare(changes, "order of volumes", owner, list_of(kept_before), list_of(kept_after));
}

// The first identifier of a volume that is in both, to stand for all of them.
void compare_identifiers(std::vector<Change> &changes, const PoolView &before, const PoolView &after) {
    for (const VolumeView &volume : before.volumes)
        for (const VolumeView &other : after.volumes)
            if (volume.name == other.name) {
                compare(changes, "identifiers", before.name, volume.identifier, other.identifier);
                return;
            }
}

std::vector<std::string> sorted(std::vector<std::string> names) {
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<Change> pool_changes(const PoolView &before, const PoolView &after) {
    std::vector<Change> changes;
    compare(changes, "capacity", before.name, bytes_in_words(before.capacity_bytes),
            bytes_in_words(after.capacity_bytes));
    if (!before.volumes.empty() && !after.volumes.empty())
        compare(changes, "volume size", before.name, bytes_in_words(before.volume_bytes),
                bytes_in_words(after.volume_bytes));
    compare_volumes(changes, before.name, before.volumes, after.volumes, bytes_in_words(before.volume_bytes),
                    bytes_in_words(after.volume_bytes));
    compare_identifiers(changes, before, after);
    compare(changes, "directory", before.name, before.storage_dir, after.storage_dir);
    compare(changes, "hosts", before.name, list_of(sorted(before.hosts)), list_of(sorted(after.hosts)));
    return changes;
}

std::string summary_of(const PoolView &pool) {
    return fmt::format("{}, {}", bytes_in_words(pool.capacity_bytes), counted(pool.volumes.size(), "volume"));
}

template <class Named>
std::unordered_map<std::string, const Named *> by_name(const std::vector<Named> &all) {
    std::unordered_map<std::string, const Named *> index;
    for (const Named &each : all)
        index.emplace(each.name, &each);
    return index;
}

template <class Named>
std::set<std::string> all_names(const std::vector<Named> &before, const std::vector<Named> &after) {
    std::set<std::string> names;
    for (const auto *views : {&before, &after})
        for (const Named &each : *views)
            names.insert(each.name);
    return names;
}

void compare_hosts(const View &before, const View &after, Difference &difference) {
    const auto old_pools = by_name(before.pools);
    const auto new_pools = by_name(after.pools);
    const auto old_hosts = by_name(before.hosts);
    const auto new_hosts = by_name(after.hosts);
    std::unordered_map<std::string, std::vector<Change>> changed;  // by pool, worked out once
    for (const PoolView &pool : before.pools)
        if (const auto other = new_pools.find(pool.name); other != new_pools.end())
            changed[pool.name] = pool_changes(pool, *other->second);
    const std::set<std::string> hosts = all_names(before.hosts, after.hosts);
    difference.compared = hosts.size();
    for (const std::string &host : hosts) {
        const auto seen_in = [&](const auto &index) {
            const auto view = index.find(host);
            return view != index.end() ? view->second->pools : std::vector<std::string>();
        };
        const std::vector<std::string> old_list = seen_in(old_hosts);
        const std::vector<std::string> new_list = seen_in(new_hosts);
        const std::vector<std::string> kept = common(old_list, new_list);
        const std::unordered_set<std::string> is_kept(kept.begin(), kept.end());
        SeenChanges seen{host, {}};
        for (const std::string &name : old_list)
            if (is_kept.count(name) == 0)
                seen.changes.push_back({"pool", name, summary_of(*old_pools.at(name)), ""});
        for (const std::string &name : new_list)
            if (is_kept.count(name) == 0)
                seen.changes.push_back({"pool", name, "", summary_of(*new_pools.at(name))});
        for (const std::string &name : kept)
            seen.changes.insert(seen.changes.end(), changed[name].begin(), changed[name].end());
        compare(seen.changes, "order of pools", "", list_of(kept), list_of(common(new_list, old_list)));
        if (!seen.changes.empty())
            difference.seen.push_back(std::move(seen));
    }
}

void compare_servers(const View &before, const View &after, Difference &difference) {
    const auto old_servers = by_name(before.servers);
    const auto new_servers = by_name(after.servers);
    const std::set<std::string> names = all_names(before.servers, after.servers);
    difference.compared = names.size();
    for (const std::string &name : names) {
        SeenChanges seen{name, {}};
        const auto old_server = old_servers.find(name);
        const auto new_server = new_servers.find(name);
        if (new_server == new_servers.end()) {
            seen.changes.push_back({"server", name, counted(old_server->second->volumes.size(), "volume"), ""});
        } else if (old_server == old_servers.end()) {
            seen.changes.push_back({"server", name, "", counted(new_server->second->volumes.size(), "volume")});
        } else {
            compare_volumes(seen.changes, name, old_server->second->volumes, new_server->second->volumes, "listed",
                            "listed");
            compare(seen.changes, "directory", name, old_server->second->storage_dir, new_server->second->storage_dir);
        }
        if (!seen.changes.empty())
            difference.seen.push_back(std::move(seen));
    }
}

std::string line_of(const Change &change) {
    const std::string thing = change.name.empty() ? "" : " " + shown(change.name);
    if (change.after.empty() && change.what != "directory")
        return fmt::format("  - {}{}: {}\n", change.what, thing, printable(change.before));
    if (change.before.empty() && change.what != "directory")
        return fmt::format("  + {}{}: {}\n", change.what, thing, printable(change.after));
    return fmt::format("  ~ {}{}: {} -> {}\n", change.what, change.name.empty() ? "" : " of " + shown(change.name),
                       change.before.empty() ? "none" : printable(change.before),
                       change.after.empty() ? "none" : printable(change.after));
}

}  // namespace

Difference difference_of(const View &before, const View &after) {
    Difference difference;
    difference.grammar = before.grammar;
    if (before.grammar == Grammar::copan) {
        compare_servers(before, after, difference);
        return difference;
    }
    difference.mounts_before = mount_words(before);
    difference.mounts_after = mount_words(after);
    compare_hosts(before, after, difference);
    return difference;
}

std::string difference_text(const Difference &difference) {
    const char *who = difference.grammar == Grammar::array ? "host" : "server";
    if (difference.is_none())
        return fmt::format("no {} sees anything else\n", who);
    std::string text;
    if (difference.mounts_before != difference.mounts_after)
        text += fmt::format("all hosts\n  ~ mounts: {} -> {}\n", difference.mounts_before, difference.mounts_after);
    std::vector<std::pair<std::string, std::vector<std::string>>> told;  // changes, and who sees them
    std::map<std::string, size_t> indices;
    for (const SeenChanges &seen : difference.seen) {
        std::string lines;
        for (const Change &change : seen.changes)
            lines += line_of(change);
        const auto [index, is_new] = indices.emplace(lines, told.size());
        if (is_new)
            told.push_back({lines, {}});
        told[index->second].second.push_back(seen.who);
    }
    for (const auto &[lines, names] : told)
        text += fmt::format("{}{} {}\n{}", who, names.size() == 1 ? "" : "s", list_of(names), lines);
    return text;
}

DifferenceJson difference_json(const Difference &difference) {
    const bool is_array = difference.grammar == Grammar::array;
    const auto text_or_null = [](const std::string &text) {
        return text.empty() ? DifferenceJson() : DifferenceJson(text);
    };
    DifferenceJson all = DifferenceJson::array();
    for (const SeenChanges &seen : difference.seen) {
        DifferenceJson changes = DifferenceJson::array();
        for (const Change &change : seen.changes)
            changes.push_back({{"what", change.what},
                               {"name", change.name},
                               {"before", text_or_null(change.before)},
                               {"after", text_or_null(change.after)}});
        all.push_back({{"name", seen.who}, {"changes", changes}});
    }
    DifferenceJson json = {{"grammar", is_array ? "array" : "copan"}, {"same", difference.is_none()}};
    if (is_array)
        json["mounts"] = {{"before", difference.mounts_before}, {"after", difference.mounts_after}};
    json[is_array ? "hosts" : "servers"] = all;
    return json;
}
