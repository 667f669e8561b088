// The disk array that a configuration file describes. Each enclosure of the file is a pool, its disks are the volumes.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "conformance/model/machine.h"

namespace conformance::model {

// Each name once, the latest first.
using HostSet = std::vector<std::string>;

struct Pool {
    std::string name;
    std::vector<std::string> disks;
    std::optional<HostSet> hosts;  // nothing: the file has no HOSTS line for it
    uint64_t disk_size = 0;
    std::string storage_directory;
};

class DiskArray {
public:
    // Reads the file's text.
    explicit DiskArray(const std::string &file);

    // What reading printed on standard output. A VOLUMES line before any disk group may be told or not: quiet_output is
    // that of a reader which does not.
    const std::string &output() const { return output_; }
    const std::string &quiet_output() const { return quiet_output_; }

    // Names of the pools that hold one of the hosts, the last one of the file first, each name once.
    std::vector<std::string> pools_of(const std::vector<std::string> &hosts) const;

    // The first of that name, or null.
    const Pool *pool(const std::string &name) const;

    // The pool that has a disk of that name or identifier, and the disk's name.
    const Pool *pool_of_disk(const std::string &disk_or_identifier, std::string &disk) const;

    // What a disk is called in lists of volumes.
    std::string identifier(const std::string &disk) const;

    // Mounts a volume: 0, or not. say receives what goes to the simulators' session.
    int mount(Machine &machine, const std::string &pool, const std::string &volume, const std::string &mount_point,
              const std::function<void(const std::string &)> &say);

private:
    void read_attribute(const std::string &key, const std::string &value, size_t line_number);
    void invalid_line(size_t line_number, bool always);
    void turn_enclosures_into_pools();
    int link_volume(Machine &machine, const std::string &volume_directory, const std::string &mount_point,
                    const std::function<void(const std::string &)> &say);

    struct Section {
        Pool pool;
        bool is_enclosure = false;
    };
    std::vector<Section> sections_;
    std::vector<Pool> pools_;
    std::string mount_behavior_ = "SUCCESS";
    std::string udid_token_;
    std::string output_;
    std::string quiet_output_;
};

}  // namespace conformance::model
