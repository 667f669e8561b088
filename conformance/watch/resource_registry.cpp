#include "conformance/watch/resource_registry.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <vector>

#include "conformance/watch/expect.h"

namespace conformance {

namespace {

struct Resource {
    const void *key;
    std::string what;
    std::function<void()> undo;
};

std::mutex registry_mutex;

std::vector<Resource> &resources() {
    static std::vector<Resource> list;
    return list;
}

}  // namespace

void register_resource(const void *key, const std::string &what, std::function<void()> undo) {
    const std::lock_guard lock(registry_mutex);
    resources().push_back({key, what, std::move(undo)});
}

void forget_resource(const void *key) {
    const std::lock_guard lock(registry_mutex);
    auto &list = resources();
    const auto last = std::find_if(list.rbegin(), list.rend(), [&](const Resource &one) { return one.key == key; });
    if (last != list.rend())
        list.erase(std::next(last).base());
}

void undo_resources() {
    auto &list = resources();
    while (!list.empty()) {
        const Resource resource = std::move(list.back());
        list.pop_back();
        resource.undo();
    }
}

void owns_directory(const std::string &path) {
    register_resource(nullptr, path, [path] {
        if (rmdir(path.c_str()) != 0)
            add_finding("directory " + path, "an empty directory", std::strerror(errno));
    });
}

void owns_link(const std::string &path) {
    register_resource(nullptr, path, [path] {
        if (unlink(path.c_str()) != 0)
            add_finding("link " + path, "a link", std::strerror(errno));
    });
}

}  // namespace conformance
