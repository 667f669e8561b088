#include "conformance/model/disk_array.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>

#include "conformance/model/reached.h"
#include "conformance/model/text_rules.h"

namespace conformance::model {

namespace {

// The latest name stands first, and a name that is there already stays where it is.
HostSet host_set(const std::vector<std::string> &names) {
    HostSet set;
    for (const std::string &name : names)
        if (std::find(set.begin(), set.end(), name) == set.end())
            set.insert(set.begin(), name);
    return set;
}

std::string without_last_byte(const std::string &value) {
    return value.substr(0, value.empty() ? 0 : value.size() - 1);
}

}  // namespace

DiskArray::DiskArray(const std::string &file) {
    size_t line_number = 0;
    for (const std::string &line : squeezed_lines(file)) {
        ++line_number;
        const size_t equals = line.find('=');
        const std::string key = line.substr(0, equals);
        // A line without '=' is its own value, so a bare header opens a section of its own name.
        const std::string value = equals == std::string::npos ? line : line.substr(equals + 1);
        if (key == "DISKGROUP" || key == "ENCLOSURE") {
            reached(key == "ENCLOSURE" ? "file: enclosure" : "file: disk group");
            sections_.push_back({{clean_name(value), {}, std::nullopt, 0, {}}, key == "ENCLOSURE"});
        } else if (equals != std::string::npos && equals != 0) {
            read_attribute(key, value, line_number);
        }
    }
    turn_enclosures_into_pools();
}

void DiskArray::invalid_line(size_t line_number, bool always) {
    const std::string text = fmt::format("Invalid line: {}\n", line_number);
    output_ += text;
    if (always)
        quiet_output_ += text;
}

void DiskArray::read_attribute(const std::string &key, const std::string &value, size_t line_number) {
    Pool *section = sections_.empty() ? nullptr : &sections_.back().pool;
    if (key == "HOSTS") {
        if (section != nullptr)
            section->hosts = host_set(name_list(value));
    } else if (key == "DISKS") {
        const auto names = name_list(value);
        if (section != nullptr)
            section->disks.insert(section->disks.end(), names.begin(), names.end());
    } else if (key == "VOLUMES") {
        // A pool's volumes are its disks in the end, so only the message about a missing group is seen.
        if (std::all_of(sections_.begin(), sections_.end(), [](const Section &one) { return one.is_enclosure; })) {
            reached("file: volumes before any disk group");
            invalid_line(line_number, false);
        }
    } else if (key == "DISK_SIZE") {
        if (section != nullptr)
            section->disk_size = size_in_bytes(value);
    } else if (key == "STORAGE_DIR") {
        if (section != nullptr)
            section->storage_directory = without_last_byte(value);
    } else if (key == "MOUNT_BEHAVIOR") {
        mount_behavior_ = without_last_byte(value);
    } else if (key == "UDID_TOKEN") {
        udid_token_ = without_last_byte(value);
    } else if (key != "VOLUME_SIZE" && key != "MOUNT_PATH") {
        reached("file: invalid line");
        invalid_line(line_number, true);
    }
}

void DiskArray::turn_enclosures_into_pools() {
    std::vector<const Pool *> groups;
    std::vector<const Pool *> enclosures;
    for (const Section &section : sections_)
        (section.is_enclosure ? enclosures : groups).push_back(&section.pool);
    for (size_t i = 0; i < enclosures.size(); ++i) {
        Pool pool = *enclosures[i];
        if (pool.hosts) {
            // Taken over one by one, from the front: so they come out in the order of the file.
            std::reverse(pool.hosts->begin(), pool.hosts->end());
        } else if (i < groups.size()) {
            // The disk group in whose place the pool is put may have had hosts: they stay.
            reached("file: pool with a disk group's hosts");
            pool.hosts = groups[i]->hosts;
        }
        pools_.push_back(std::move(pool));
    }
}

std::vector<std::string> DiskArray::pools_of(const std::vector<std::string> &hosts) const {
    std::vector<std::string> names;
    for (const Pool &pool : pools_) {
        const bool is_visible = pool.hosts && std::any_of(hosts.begin(), hosts.end(), [&](const std::string &host) {
                                    return std::find(pool.hosts->begin(), pool.hosts->end(), host) != pool.hosts->end();
                                });
        if (is_visible && std::find(names.begin(), names.end(), pool.name) == names.end())
            names.insert(names.begin(), pool.name);
    }
    return names;
}

const Pool *DiskArray::pool(const std::string &name) const {
    const auto found = std::find_if(pools_.begin(), pools_.end(), [&](const Pool &one) { return one.name == name; });
    return found == pools_.end() ? nullptr : &*found;
}

const Pool *DiskArray::pool_of_disk(const std::string &disk_or_identifier, std::string &disk) const {
    for (const Pool &pool : pools_)
        for (const std::string &one : pool.disks)
            if (one == disk_or_identifier || identifier(one) == disk_or_identifier) {
                disk = one;
                return &pool;
            }
    return nullptr;
}

std::string DiskArray::identifier(const std::string &disk) const {
    return udid_token_.empty() ? disk : fmt::format("#UDID#{}#{}#", udid_token_, disk);
}

int DiskArray::mount(Machine &machine, const std::string &pool_name, const std::string &volume,
                     const std::string &mount_point, const std::function<void(const std::string &)> &say) {
    if (mount_behavior_ != "SUCCESS") {
        reached("mount: fails as the file says");
        return -1;
    }
    const auto pool =
        std::find_if(pools_.begin(), pools_.end(), [&](const Pool &one) { return one.name == pool_name; });
    if (pool == pools_.end()) {
        reached("mount: unknown pool");
        say(fmt::format("Unknown Diskgroup: {}\n", pool_name));
        return -1;
    }
    if (pool->storage_directory.empty()) {
        reached("mount: storage below /tmp");
        pool->storage_directory = "/tmp/" + pool_name;
    }
    const std::string volume_directory = fmt::format("{}/{}", pool->storage_directory, volume);
    for (const std::string &directory : {pool->storage_directory, volume_directory})
        if (const int error = machine.make_directory(directory); error != 0 && error != EEXIST) {
            reached("mount: storage cannot be made");
            return error;
        }
    return link_volume(machine, volume_directory, mount_point, say);
}

int DiskArray::link_volume(Machine &machine, const std::string &volume_directory, const std::string &mount_point,
                           const std::function<void(const std::string &)> &say) {
    std::string path = mount_point;
    if (!path.empty() && path.back() == '/')
        path.pop_back();
    if (machine.look_at(path) != 0) {
        // The first byte is passed over: "/" itself is never made. Neither is what stands behind the last '/'.
        for (size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1))
            if (const int error = machine.make_directory(path.substr(0, slash)); error != 0 && error != EEXIST) {
                reached("mount: parents cannot be made");
                say("problem creating mount path directory");
                return error;
            }
    }
    int error = machine.make_link(volume_directory, path);
    if (error == EEXIST) {
        reached("mount: something is there already");
        if (const int kept = machine.remove_link(path); kept != 0) {
            reached("mount: it cannot be removed");
            say(fmt::format("unlink failed: errno {}\n", kept));
            return kept;
        }
        error = machine.make_link(volume_directory, path);
    }
    if (error != 0) {
        reached("mount: link cannot be made");
        say(fmt::format("symlink failed: errno {}\n", error));
    } else {
        reached("mount: done");
    }
    return error;
}

}  // namespace conformance::model
