#include "simhost/show/json_view.h"

#include "simhost/check/json_report.h"

using Json = nlohmann::ordered_json;

namespace {

Json pool_json(const PoolView &pool) {
    Json volumes = Json::array();
    for (const VolumeView &volume : pool.volumes)
        volumes.push_back({{"name", volume.name},
                           {"udid", volume.identifier},
                           {"capacity_bytes", pool.volume_bytes},
                           {"bytes", pool.volume_bytes}});  // as the first release calls it
    return {{"name", pool.name},   {"listed", pool.is_listed},        {"capacity_bytes", pool.capacity_bytes},
            {"hosts", pool.hosts}, {"storage_dir", pool.storage_dir}, {"storage_dir_is_default", pool.has_default_dir},
            {"volumes", volumes}};
}

Json array_json(const View &view) {
    Json pools = Json::array();
    for (const PoolView &pool : view.pools)
        pools.push_back(pool_json(pool));
    Json hosts = Json::array();
    for (const HostView &host : view.hosts)
        hosts.push_back({{"name", host.name}, {"pools", host.pools}});
    const Json mounts = {
        {"behavior", view.mount_behavior}, {"succeed", view.mounts_succeed}, {"status", view.mount_status}};
    return {{"mounts", mounts}, {"udid_token", view.udid_token}, {"pools", pools}, {"hosts", hosts}};
}

Json copan_json(const View &view) {
    Json servers = Json::array();
    for (const ServerView &server : view.servers) {
        Json volumes = Json::array();
        for (const VolumeView &volume : server.volumes)
            volumes.push_back({{"name", volume.name}, {"directory", volume.identifier}});
        servers.push_back({{"name", server.name}, {"storage_dir", server.storage_dir}, {"volumes", volumes}});
    }
    return {{"servers", servers}};
}

}  // namespace

Json json_of(const View &view) {
    const bool is_array = view.grammar == Grammar::array;
    Json json = {{"file", view.file},
                 {"grammar", is_array ? "array" : "copan"},
                 {"contents", view.contents},
                 {"errors", view.errors},
                 {"warnings", view.warnings}};
    json["findings"] = Json::array();
    for (const Finding &finding : view.findings)
        json["findings"].push_back(finding_json(finding));
    json.update(is_array ? array_json(view) : copan_json(view));
    return json;
}
