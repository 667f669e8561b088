#include "entry_points.h"

#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

namespace broken {

namespace {

std::mutex mutex;
std::map<sts_server_handle_t, OpenServer> servers;
constexpr size_t pool_array_size = 200;
std::map<sts_server_handle_t, std::vector<std::unique_ptr<char[]>>> pool_arrays;

}  // namespace

void remember_server(sts_server_handle_t handle, const OpenServer &server) {
    const std::lock_guard lock(mutex);
    servers[handle] = server;
}

OpenServer server_of(sts_server_handle_t handle) {
    const std::lock_guard lock(mutex);
    const auto found = servers.find(handle);
    return found == servers.end() ? OpenServer{} : found->second;
}

void forget_server(sts_server_handle_t handle) {
    const std::lock_guard lock(mutex);
    servers.erase(handle);
}

void keep_pool_array(sts_server_handle_t handle) {
    const std::lock_guard lock(mutex);
    pool_arrays[handle].emplace_back(new char[pool_array_size]);
}

void free_pool_arrays(sts_server_handle_t handle) {
    const std::lock_guard lock(mutex);
    pool_arrays.erase(handle);
}

void leak() {
    // The compiler may drop an allocation whose result nobody uses.
    void *lost = std::malloc(48);
    asm volatile("" : : "r"(lost) : "memory");
}

}  // namespace broken
