#include "tests/entry_points/plugin_world.h"

#include <algorithm>
#include <cstdlib>
#include <stdexcept>

void *plugin_symbol(const char *name) {
    // Another build, to see whether a test fails there.
    const char *chosen = std::getenv("STSPI_UNDER_TEST");
    static void *const library = dlopen(chosen != nullptr ? chosen : PLUGIN_PATH, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr)
        throw std::runtime_error(dlerror());
    void *symbol = dlsym(library, name);
    if (symbol == nullptr)
        throw std::runtime_error(std::string(name) + " is not exported");
    return symbol;
}

PluginWorld::PluginWorld() {
    config.write("Kelvarpool", "ENCLOSURE=p1;\nHOSTS=h1;\nDISKS=d1;\nSTORAGE_DIR=" + (directory / "p1") +
                                   ";\nENCLOSURE=nohosts;\nDISKS=d2;\n");
    config.write("copan", "STORAGE_SERVER=arr1;\nVOLUMES=vol1;\nSTORAGE_DIR=" + (directory / "copan") + ";\n");
}

PluginWorld::~PluginWorld() {
    for (sts_lsu_list_handle_t list : m_lists)
        PLUGIN(stspi_close_lsu_list)(list);
    for (sts_server_handle_t handle : m_handles)
        PLUGIN(stspi_close_server)(handle);
}

sts_server_handle_t PluginWorld::open(const char *server_name) {
    sts_server_handle_t handle = nullptr;
    PLUGIN(stspi_open_server)(&session, server_name, nullptr, nullptr, &handle);
    m_handles.push_back(handle);
    return handle;
}

sts_server_handle_t PluginWorld::create(const char *server_name, const std::vector<std::string> &hosts) {
    std::vector<sts_host_t> records(hosts.size());
    for (size_t i = 0; i < hosts.size(); ++i)
        hosts[i].copy(records[i].name, sizeof records[i].name - 1);
    sts_server_handle_t handle = nullptr;
    PLUGIN(stspi_create_server)
    (&session, server_name, nullptr, nullptr, records.data(), static_cast<int32_t>(records.size()), &handle);
    m_handles.push_back(handle);
    return handle;
}

int32_t PluginWorld::closing(int32_t status, const sts_server_handle_t &handle) {
    if (handle != nullptr)
        m_handles.push_back(handle);
    return status;
}

int32_t PluginWorld::closing(int32_t status, const sts_lsu_list_handle_t &list) {
    if (list != nullptr)
        m_lists.push_back(list);
    return status;
}

stsp_lsu_v7_t PluginWorld::lsu(sts_server_handle_t handle, const std::string &name) {
    stsp_lsu_v7_t record{};
    record.server = handle;
    std::copy_n(name.begin(), std::min(name.size(), sizeof record.lsu_name), record.lsu_name);
    return record;
}
