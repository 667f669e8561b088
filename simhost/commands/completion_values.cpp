#include "simhost/commands/completion_values.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <system_error>

#include "simhost/check/checked_file.h"
#include "simhost/check/configuration_source.h"
#include "simhost/commands/server_session.h"
#include "simhost/host/image.h"
#include "simhost/host/server_name.h"
#include "simhost/show/view.h"

namespace fs = std::filesystem;

namespace {

using Names = std::vector<std::string>;

// The value of an option, or what stands for it in the environment.
std::string value(const GivenWords &given, const std::string &option, const char *variable = nullptr) {
    if (const auto found = given.values.find(option); found != given.values.end())
        return found->second;
    const char *text = variable == nullptr ? nullptr : std::getenv(variable);
    return text == nullptr ? "" : text;
}

fs::path config_dir(const GivenWords &given) {
    const std::string chosen = value(given, "--config-dir", "SIMHOST_CONFIG_DIR");
    return chosen.empty() ? "/etc/quillmere" : chosen;
}

View view_of_file(const fs::path &path) {
    return view_of(
        check_file(path.string(), read_configuration_source(path.string()), choose_grammar(path.string(), "")));
}

std::vector<View> all_views(const GivenWords &given) {
    std::vector<fs::path> paths;
    std::error_code failure;
    for (const fs::directory_entry &entry : fs::directory_iterator(config_dir(given), failure))
        if (entry.path().extension() == ".sim" && entry.is_regular_file(failure))
            paths.push_back(entry.path());
    std::sort(paths.begin(), paths.end());
    std::vector<View> views;
    views.reserve(paths.size());
    for (const fs::path &path : paths) {
        try {
            views.push_back(view_of_file(path));
        } catch (const std::exception &) {
            // One file that cannot be read leaves the others their names.
        }
    }
    return views;
}

std::string server_of(const GivenWords &given) { return value(given, "--server", "SIMHOST_SERVER"); }

View view_of_server(const GivenWords &given, const std::string &server) {
    return view_of_file(config_dir(given) / (prefix_part(server) + ".sim"));
}

Names split(const std::string &list) {
    Names items;
    for (size_t begin = 0; begin <= list.size();) {
        const size_t end = std::min(list.find(',', begin), list.size());
        items.push_back(list.substr(begin, end - begin));
        begin = end + 1;
    }
    return items;
}

// The same list with another last item, for each of the names.
Names with_last_item(const std::string &word, const Names &names) {
    const size_t comma = word.rfind(',');
    const std::string kept = comma == std::string::npos ? "" : word.substr(0, comma + 1);
    const Names given = split(kept);
    Names lists;
    for (const std::string &name : names)
        if (std::find(given.begin(), given.end(), name) == given.end())
            lists.push_back(kept + name);
    return lists;
}

Names servers(const GivenWords &given) {
    Names names;
    for (const View &view : all_views(given)) {
        for (const HostView &host : view.hosts)
            names.push_back(fs::path(view.file).stem().string() + ':' + host.name);
        for (const ServerView &server : view.servers)
            names.push_back(server.name);
    }
    return names;
}

Names hosts(const GivenWords &given) {
    Names names;
    for (const View &view : all_views(given))
        for (const HostView &host : view.hosts)
            names.push_back(host.name);
    return names;
}

// The pools that the given hosts see, or a Copan array's LSUs.
Names lsus_of(const GivenWords &given, const std::string &server) {
    const View view = view_of_server(given, server);
    const std::string chosen = value(given, "--hosts");
    const Names for_hosts = split(chosen.empty() ? host_part(server) : chosen);
    Names names;
    for (const PoolView &pool : view.pools)
        if (std::any_of(pool.hosts.begin(), pool.hosts.end(), [&for_hosts](const std::string &host) {
                return std::find(for_hosts.begin(), for_hosts.end(), host) != for_hosts.end();
            }))
            names.push_back(pool.name);
    for (const ServerView &array : view.servers)
        if (array.name == server)
            for (const VolumeView &volume : array.volumes)
                names.push_back(volume.name);
    return names;
}

Names volumes(const GivenWords &given, const std::string &pool_name) {
    Names names;
    const Names visible_pools = lsus_of(given, server_of(given));
    for (const PoolView &pool : view_of_server(given, server_of(given)).pools)
        if ((pool.name == pool_name || pool_name.empty()) &&
            std::find(visible_pools.begin(), visible_pools.end(), pool.name) != visible_pools.end())
            for (const VolumeView &volume : pool.volumes)
                names.push_back(volume.identifier);
    return names;
}

// "POOL:VOLUME" of all pools.
Names volumes_with_pools(const GivenWords &given) {
    Names names;
    const Names visible_pools = lsus_of(given, server_of(given));
    for (const PoolView &pool : view_of_server(given, server_of(given)).pools)
        if (std::find(visible_pools.begin(), visible_pools.end(), pool.name) != visible_pools.end())
            for (const VolumeView &volume : pool.volumes)
                names.push_back(pool.name + ':' + volume.identifier);
    return names;
}

// Asked of the plug-in itself: only the image library knows.
Names images(const GivenWords &given) {
    HostOptions host;
    host.plugin = value(given, "--plugin");
    host.image_library = value(given, "--image-library");
    host.image_root = value(given, "--image-root");
    host.config_dir = value(given, "--config-dir", "SIMHOST_CONFIG_DIR");
    ServerOptions server;
    server.server = server_of(given);
    if (const std::string chosen = value(given, "--hosts"); !chosen.empty())
        server.hosts = split(chosen);
    CapturedStdout captured;
    Report report("", {}, captured.own_output());
    Names names;
    with_server({report, captured}, host, server, [&](Server &open) {
        names = ImageStore(open, value(given, "--lsu")).list(ImageStore::Unused::is_empty);
    });
    std::sort(names.begin(), names.end());
    return names;
}

Names lsus_or_volumes(const GivenWords &given) {
    Names names = lsus_of(given, server_of(given));
    const Names more = volumes_with_pools(given);
    names.insert(names.end(), more.begin(), more.end());
    return names;
}

}  // namespace

std::vector<std::string> values_for(const GivenWords &given, const std::string &name, const std::string &word) {
    try {
        if (name == "--server" || name == "--to-server")
            return given.command == "check" ? with_last_item(word, servers(given)) : servers(given);
        if (name == "SERVER")
            return given.command == "init" ? Names{"Kelvarpool", "copan"} : servers(given);
        if (name == "--hosts")
            return with_last_item(word, hosts(given));
        if (name == "--pool" || name == "POOL" || name == "--lsu")
            return lsus_of(given, server_of(given));
        if (name == "--to-lsu")
            return lsus_of(given,
                           given.values.count("--to-server") == 0 ? server_of(given) : value(given, "--to-server"));
        if (name == "--volume")
            return volumes(given, value(given, "--pool"));
        if (name == "LSU")
            return given.command == "mount" ? volumes_with_pools(given) : lsus_or_volumes(given);
        if (name == "IMAGE" || name == "SOURCE")
            return given.command == "image put" ? Names{} : images(given);
    } catch (const std::exception &) {
        // Who completes a word has not asked for errors.
    }
    return {};
}
