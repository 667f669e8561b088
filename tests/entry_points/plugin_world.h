// The built library and what one call of it needs around it.
#pragma once

#include <dlfcn.h>

#include <memory>
#include <string>
#include <vector>

#include "stspi/stspi.h"
#include "tests/support/config_directory.h"
#include "tests/support/image_library_double.h"
#include "tests/support/temp_directory.h"

// The address of an exported symbol of the library; fails the program when it is not there.
void *plugin_symbol(const char *name);

// A function of the library, with its type from the header.
#define PLUGIN(function) reinterpret_cast<decltype(&(function))>(plugin_symbol(#function))

// The configuration that the cases share: a disk array "Kelvarpool" with the pools p1 (host h1, disk d1) and nohosts, and
// a Copan array "copan" with the server arr1 and its volume vol1.
class PluginWorld {
public:
    PluginWorld();
    ~PluginWorld();
    PluginWorld(const PluginWorld &) = delete;
    PluginWorld &operator=(const PluginWorld &) = delete;

    // Handles that are closed with the world. Null when opening fails.
    sts_server_handle_t open(const char *server_name);
    sts_server_handle_t create(const char *server_name, const std::vector<std::string> &hosts);
    // Has the world close a handle or a list that a case opened itself. By reference: the call that gives the status also
    // stores the handle, and which argument comes first is the compiler's choice.
    int32_t closing(int32_t status, const sts_server_handle_t &handle);
    int32_t closing(int32_t status, const sts_lsu_list_handle_t &list);

    static stsp_lsu_v7_t lsu(sts_server_handle_t handle, const std::string &name);

    ConfigDirectory config;
    TempDirectory directory;
    ImageLibraryDouble library;
    sts_session_def_v7_t session{};

private:
    std::vector<sts_server_handle_t> m_handles;
    std::vector<sts_lsu_list_handle_t> m_lists;
};
