// What a load is put on.
#pragma once

#include <string>
#include <vector>

#include "simhost/host/host.h"
#include "simhost/host/server_name.h"
#include "simhost/load/run_state.h"

struct LoadTarget {
    std::string plugin;         // path of what is called: the plug-in, or the filter in front of it
    std::string plain_plugin;   // path of the plug-in itself
    std::string image_library;  // path; empty: as the plug-in finds it
    std::string server;
    std::vector<std::string> hosts;
    ServerKind kind = ServerKind::disk_array;
    std::vector<LoadPlace> places;              // streams take them in turn
    std::vector<std::string> listed;            // LSUs, before the load
    sts_server_info_t server_info = {};         // likewise
    std::string mount_directory;                // where links of mounts are made
    std::vector<std::string> made_directories;  // by looking

    bool is_filtered() const { return plugin != plain_plugin; }
    const LoadPlace &place_of(unsigned stream) const { return places[stream % places.size()]; }
};

// Asks the plug-in, in a process of its own, which LSUs and volumes the server has, and completes the target. lsus: those to
// use; all when empty. mounts: volumes will be mounted. Throws UsageError or BadAnswer with what is wrong.
void look_at_target(LoadTarget &target, const std::vector<std::string> &lsus, bool mounts);
