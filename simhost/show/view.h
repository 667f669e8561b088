// What a framework will see of a configuration file, asked from the plug-in's own server objects.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "simhost/check/checked_file.h"

struct VolumeView {
    std::string name;
    std::string identifier;  // under which a disk array lists it; the directory of a Copan array's volume
};

struct PoolView {
    std::string name;
    std::vector<VolumeView> volumes;
    std::vector<std::string> hosts;  // in the order of the properties that the framework gets
    bool is_listed = false;          // for some host
    uint64_t volume_bytes = 0;
    uint64_t capacity_bytes = 0;  // as the framework is told, modulo 2^64
    std::string storage_dir;
    bool has_default_dir = false;
};

struct HostView {
    std::string name;
    std::vector<std::string> pools;  // in listing order
};

struct ServerView {
    std::string name;  // as a framework opens it, "copan:arr1"
    std::vector<VolumeView> volumes;
    std::string storage_dir;
};

struct View {
    std::string file;
    Grammar grammar = Grammar::array;
    std::string contents;           // "2 pools, 14 volumes, 3 hosts"
    std::vector<Finding> findings;  // of the checker
    size_t errors = 0;
    size_t warnings = 0;
    std::vector<PoolView> pools;  // in listing order, those that are never listed last
    std::vector<HostView> hosts;
    std::string mount_behavior;
    bool mounts_succeed = true;
    int mount_status = 0;  // inside the simulator; the framework gets STS_E_SYSTEM
    std::string udid_token;
    std::vector<ServerView> servers;  // of a Copan array
};

// Serves the file's bytes to the plug-in's classes from memory, so the program must link stspi_config_redirect.
View view_of(const CheckedFile &file);

// Names the servers of a Copan array as those of another file, which it is to replace.
void take_prefix(const View &of, View &view);

// A name as it is shown; one that is empty too.
std::string shown(const std::string &name);
