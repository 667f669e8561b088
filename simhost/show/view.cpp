#include "simhost/show/view.h"

#include <iostream>
#include <memory>
#include <set>
#include <sstream>
#include <unordered_set>

#include "copan/copan_config_reader.h"
#include "redirect/config_redirect.h"
#include "sim/config_file.h"
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

std::vector<std::string> listed_pools(OrvSimStorageServer &array, const std::vector<std::string> &hosts) {
    NameList names(hosts.size());
    for (size_t i = 0; i < hosts.size(); ++i)
        names[i] = hosts[i].c_str();
    const std::unique_ptr<DiskGroupTable> pools(array.getPoolLSUList(&names, true));
    std::vector<std::string> listed;
    for (size_t i = 0; i < pools->size(); ++i)
        listed.emplace_back(c_text((*pools)[i].name));
    return listed;
}

std::vector<std::string> all_hosts(const Outline &outline) {
    std::vector<std::string> hosts;
    std::unordered_set<std::string> seen;
    for (const PoolOutline &pool : outline.pools)
        for (const ListedName &host : pool.hosts)
            if (seen.insert(host.name).second)
                hosts.push_back(host.name);
    return hosts;
}

PoolView pool_view(OrvSimStorageServer &array, const std::string &name, bool is_listed) {
    PoolView view;
    view.name = name;
    view.is_listed = is_listed;
    const diskgroup_t *group = array.getPoolLSUInfo(name.c_str());
    if (group == nullptr)
        return view;
    for (size_t i = 0; i < name_count(group->volumes); ++i) {
        const Name &volume = (*group->volumes)[i];
        view.volumes.push_back({c_text(volume), c_text(array.getUDID(volume))});
    }
    if (group->hosts != nullptr)
        for (auto host = group->hosts->begin(); host != group->hosts->end(); ++host)
            view.hosts.emplace_back(c_text((*host).ext_id_));
    view.volume_bytes = group->volume_size;
    view.capacity_bytes = group->disk_size * name_count(group->disks);
    view.storage_dir = c_text(group->storage_dir);
    view.has_default_dir = view.storage_dir.empty();
    if (view.has_default_dir)
        view.storage_dir = "/tmp/" + name;
    return view;
}

void view_array(const CheckedFile &file, View &view) {
    const Served served("Kelvarpool.sim", file.source.bytes());
    OrvSimStorageServer array("Kelvarpool:show");
    const std::vector<std::string> hosts = all_hosts(file.outline);
    std::unordered_set<std::string> shown;
    for (const std::string &name : listed_pools(array, hosts))
        if (shown.insert(name).second)
            view.pools.push_back(pool_view(array, name, true));
    for (const PoolOutline &pool : file.outline.pools)
        if (shown.insert(pool.name.name).second)
            view.pools.push_back(pool_view(array, pool.name.name, false));
    for (const std::string &host : hosts)
        view.hosts.push_back({host, listed_pools(array, {host})});
    view.mount_behavior = file.outline.mount_behavior;
    // No pool has this name, since names hold no blank: a mount that is carried out ends with -1 before it makes anything.
    const int status = array.mountLSU("no pool", "", 0, "", "/");
    view.mounts_succeed = status == -1;
    view.mount_status = view.mounts_succeed ? 0 : status;
    view.udid_token = file.outline.udid_token;
}

void view_copan(const CheckedFile &file, const std::string &prefix, View &view) {
    const Served served("copan.sim", file.source.bytes());
    std::set<std::string> shown;
    for (const ServerOutline &section : file.outline.servers) {
        if (!section.is_read || !shown.insert(short_server_name(section.name.name)).second)
            continue;
        ServerView server;
        server.name = prefix + ":" + section.name.name;
        std::vector<std::string> volumes;
        read_copan_configuration(open_configuration("copan", "r").get(), section.name.name, volumes,
                                 server.storage_dir);
        for (const std::string &volume : volumes)
            server.volumes.push_back({volume, server.storage_dir.empty() ? "" : server.storage_dir + "/" + volume});
        view.servers.push_back(std::move(server));
    }
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
    view.errors = count(file.findings, Severity::error);
    view.warnings = count(file.findings, Severity::warning);
    if (view.grammar == Grammar::array)
        view_array(file, view);
    else
        view_copan(file, prefix_of(file.name), view);
    return view;
}
