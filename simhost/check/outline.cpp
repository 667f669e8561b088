#include "simhost/check/outline.h"

#include <fmt/format.h>

#include <set>

namespace {

std::string array_contents(const Outline &outline) {
    std::set<std::string> hosts;
    size_t volumes = 0;
    for (const PoolOutline &pool : outline.pools) {
        volumes += pool.disks.size();
        for (const ListedName &host : pool.hosts)
            hosts.insert(host.name);
    }
    return fmt::format("{}, {}, {}", counted(outline.pools.size(), "pool"), counted(volumes, "volume"),
                       counted(hosts.size(), "host"));
}

std::string copan_contents(const Outline &outline) {
    std::set<std::string> servers;
    size_t volumes = 0;
    for (const ServerOutline &server : outline.servers) {
        if (!server.is_read)
            continue;
        servers.insert(short_server_name(server.name.name));
        volumes += server.volumes.size();
    }
    return fmt::format("{}, {}", counted(servers.size(), "server"), counted(volumes, "volume"));
}

}  // namespace

const SetKey *SetKeys::find(const std::string &key) const {
    for (const SetKey &each : m_keys)
        if (each.key == key)
            return &each;
    return nullptr;
}

void SetKeys::set(const std::string &key, const Place &place, const std::string &text) {
    for (SetKey &each : m_keys) {
        if (each.key == key) {
            each = {key, place, text};
            return;
        }
    }
    m_keys.push_back({key, place, text});
}

std::string contents_summary(const Outline &outline) {
    return outline.grammar == Grammar::array ? array_contents(outline) : copan_contents(outline);
}

std::string short_server_name(const std::string &name) { return name.substr(0, name.find('.')); }
