#include "simhost/check/shared_directory.h"

#include <fmt/format.h>

#include <filesystem>
#include <unordered_map>

namespace {

// The same text for the same directory, links aside: "/a//b/./" is "/a/b".
std::string plain_path(const std::string &path) {
    std::string plain = std::filesystem::path(path).lexically_normal();
    while (plain.size() > 1 && plain.back() == '/')
        plain.pop_back();
    return plain;
}

struct Owner {
    const ServerOutline *server;
    Place volume;
};

// The directory of each server, by its name without domain: the last section of it that gives one decides.
std::unordered_map<std::string, std::string> directories(const Outline &outline) {
    std::unordered_map<std::string, std::string> paths;
    for (const ServerOutline &server : outline.servers)
        if (server.storage_dir)
            paths[short_server_name(server.name.name)] = plain_path(*server.storage_dir);
    return paths;
}

}  // namespace

void check_shared_directories(const Outline &outline, Findings &findings) {
    const std::unordered_map<std::string, std::string> paths = directories(outline);
    std::unordered_map<std::string, Owner> owners;
    for (const ServerOutline &server : outline.servers) {
        const std::string name = short_server_name(server.name.name);
        const auto path = paths.find(name);
        if (path == paths.end() || path->second.empty())
            continue;
        for (const ListedName &volume : server.volumes) {
            if (volume.name.empty())
                continue;
            const std::string directory = path->second + '/' + volume.name;
            const auto [owner, is_first] = owners.emplace(directory, Owner{&server, volume.place});
            const std::string other = short_server_name(owner->second.server->name.name);
            if (!is_first && other != name)
                findings.error(
                    Rule::shared_directory, volume.place,
                    fmt::format("volume {} has the same directory as one of server {}, and so the same images",
                                in_apostrophes(volume.name), in_apostrophes(owner->second.server->name.name)),
                    "give the servers STORAGE_DIRs of their own", {{owner->second.volume, "that one is listed here"}});
        }
    }
}
