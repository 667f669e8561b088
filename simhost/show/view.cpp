#include "simhost/show/view.h"

#include <iostream>
#include <memory>
#include <sstream>
#include <unordered_map>
#include <unordered_set>

#include "base/escaped_text.h"
#include "redirect/config_redirect.h"
#include "sim/orv_sim_storage_server.h"

namespace {

// Takes the file away again, and what the readers print: the checker tells the same with its reasons.
class Served {
public:
    Served(const std::string &file_name, const std::string &bytes) : m_before(std::cout.rdbuf(m_printed.rdbuf())) {
        set_config_text(file_name, bytes);
    }
    ~Served() {
        std::cout.rdbuf(m_before);
        clear_config_texts();
    }
    Served(const Served &) = delete;
    Served &operator=(const Served &) = delete;

private:
    std::ostringstream m_printed;
    std::streambuf *m_before;
};

std::vector<std::string> all_hosts(const Outline &outline) {
    std::vector<std::string> hosts;
    std::unordered_set<std::string> seen;
    for (const PoolOutline &pool : outline.pools)
        for (const ListedName &host : pool.hosts)
            if (seen.insert(host.name).second)
                hosts.push_back(host.name);
    return hosts;
}

PoolView pool_view(OrvSimStorageServer &array, const diskgroup_t &group, bool is_listed) {
    PoolView view;
    view.name = c_text(group.name);
    view.is_listed = is_listed;
    for (size_t i = 0; i < name_count(group.volumes); ++i) {
        const Name &volume = (*group.volumes)[i];
        view.volumes.push_back({c_text(volume), c_text(array.getUDID(volume))});
    }
    if (group.hosts != nullptr)
        for (auto host = group.hosts->begin(); host != group.hosts->end(); ++host)
            view.hosts.emplace_back(c_text((*host).ext_id_));
    view.volume_bytes = group.volume_size;
    view.capacity_bytes = group.disk_size * name_count(group.disks);
    view.storage_dir = c_text(group.storage_dir);
    view.has_default_dir = view.storage_dir.empty();
    if (view.has_default_dir)
        view.storage_dir = "/tmp/" + view.name;
    return view;
}

// Names in the order in which they came first, and whether they came.
class NamesOnce {
public:
    bool add(const std::string &name) {
        const bool is_new = m_seen.insert(name).second;
        if (is_new)
            m_names.push_back(name);
        return is_new;
    }
    bool has(const std::string &name) const { return m_seen.count(name) != 0; }
    // A list of pools begins with the one that was found last.
    std::vector<std::string> last_first() const { return {m_names.rbegin(), m_names.rend()}; }

private:
    std::vector<std::string> m_names;
    std::unordered_set<std::string> m_seen;
};

// What the plug-in would list, worked out in one walk: to ask it for each pool and host takes too long for thousands.
struct Listing {
    NamesOnce pools;  // that some host sees
    std::unordered_map<std::string, NamesOnce> of_host;
    std::unordered_map<std::string, const diskgroup_t *> groups;  // the one that answers for a name
};

Listing listing_of(const DiskGroupTable &groups) {
    Listing listing;
    for (size_t i = 0; i < groups.size(); ++i) {
        const diskgroup_t &group = groups[i];
        const std::string name = c_text(group.name);
        listing.groups.emplace(name, &group);
        if (group.hosts == nullptr)
            continue;
        for (auto host = group.hosts->begin(); host != group.hosts->end(); ++host) {
            listing.pools.add(name);
            listing.of_host[c_text((*host).ext_id_)].add(name);
        }
    }
    return listing;
}

void view_array(const CheckedFile &file, View &view) {
    const Served served("Kelvarpool.sim", file.source.bytes());
    OrvSimStorageServer array("Kelvarpool:show");
    Listing listing = listing_of(array.disk_groups());
    for (const std::string &name : listing.pools.last_first())
        view.pools.push_back(pool_view(array, *listing.groups.at(name), true));
    NamesOnce others;
    for (size_t i = 0; i < array.disk_groups().size(); ++i) {
        const std::string name = c_text(array.disk_groups()[i].name);
        if (!listing.pools.has(name) && others.add(name))
            view.pools.push_back(pool_view(array, *listing.groups.at(name), false));
    }
    for (const std::string &host : all_hosts(file.outline))
        view.hosts.push_back({host, listing.of_host[host].last_first()});
    view.mount_behavior = file.outline.mount_behavior;
    // No pool has this name, since names hold no blank: a mount that is carried out ends with -1 before it makes anything.
    const int status = array.mountLSU("no pool", "", 0, "", "/");
    view.mounts_succeed = status == -1;
    view.mount_status = view.mounts_succeed ? 0 : status;
    view.udid_token = file.outline.udid_token;
}

// The checker's own reading, which the tests hold against the plug-in's: that reads the file once for each server.
void view_copan(const CheckedFile &file, const std::string &prefix, View &view) {
    std::unordered_map<std::string, size_t> indices;
    for (const ServerOutline &section : file.outline.servers) {
        if (!section.is_read)
            continue;
        const auto [index, is_new] = indices.emplace(short_server_name(section.name.name), view.servers.size());
        if (is_new)
            view.servers.push_back({prefix + ":" + section.name.name, {}, ""});
        ServerView &server = view.servers[index->second];
        for (const ListedName &volume : section.volumes)
            server.volumes.push_back({volume.name, ""});
        server.storage_dir = section.storage_dir.value_or(server.storage_dir);
    }
    for (ServerView &server : view.servers)
        for (VolumeView &volume : server.volumes)
            if (!server.storage_dir.empty())
                volume.identifier = server.storage_dir + "/" + volume.name;
}

// "lab" for "dir/lab.sim"; "copan" for what has no name of that kind.
std::string prefix_of(const std::string &path) {
    Grammar grammar{};
    if (!grammar_of_file(path, grammar))
        return "copan";
    const std::string name = path.substr(path.rfind('/') + 1);
    return name.substr(0, name.rfind('.'));
}

}  // namespace

View view_of(const CheckedFile &file) {
    View view;
    view.file = file.name;
    view.grammar = file.outline.grammar;
    view.contents = contents_summary(file.outline);
    view.findings = file.findings;
    view.errors = count(file.findings, Severity::error);
    view.warnings = count(file.findings, Severity::warning);
    if (view.grammar == Grammar::array)
        view_array(file, view);
    else
        view_copan(file, prefix_of(file.name), view);
    return view;
}

void take_prefix(const View &of, View &view) {
    for (ServerView &server : view.servers)
        server.name = prefix_of(of.file) + server.name.substr(server.name.find(':'));
}

std::string shown(const std::string &name) { return name.empty() ? "(no name)" : printable(name); }
