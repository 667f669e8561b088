// The filter around the recording plug-in, for one test.
#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <string>

#include "filter/rules/function_number.h"
#include "stspi/stsimg.h"
#include "stspi/stspi.h"
#include "tests/filter/recording_plugin.h"
#include "tests/support/temp_directory.h"

// All that a caller hands over: one stretch of memory, so that nothing in it changes unseen.
struct CallerMemory {
    sts_session_def_v7_t session;
    char server_name[64];
    sts_host_t hosts[2];
    stsp_lsu_v7_t lsu;
    sts_image_definition definition;
    char mount_point[64];
    char data[256];
    uint64_t count;
    void *out;
    sts_lsu_info_v9_t lsu_info;
    sts_server_info_t server_info;
    sts_image_info image_info;
    char name[STSIMG_NAME_SIZE];
    sts_registration_t registration;
    sts_registration2_t registration2;
};

class Filtered {
public:
    // rules: lines of the settings file behind the plug-in's. $DIR in them is a directory of the test's own.
    explicit Filtered(const std::string &rules) : m_recorder(dlopen(RECORDING_PLUGIN, RTLD_NOW | RTLD_LOCAL)) {
        if (m_recorder == nullptr)
            throw std::runtime_error(dlerror());
        auto *get = reinterpret_cast<Recording *(*)()>(dlsym(m_recorder, "recording"));
        recorded = get();
        std::memset(static_cast<void *>(recorded), 0, sizeof *recorded);
        recorded->entries = 3;
        write_settings(rules);
        setenv("STSPI_FILTER", settings_path().c_str(), 1);
        load();
    }
    ~Filtered() {
        dlclose(m_library);
        dlclose(m_recorder);
    }
    Filtered(const Filtered &) = delete;
    Filtered &operator=(const Filtered &) = delete;

    void load() {
        m_library = dlopen(FILTER_LIBRARY, RTLD_NOW | RTLD_LOCAL);
        if (m_library == nullptr)
            throw std::runtime_error(dlerror());
    }
    void reload() {
        dlclose(m_library);
        load();
    }

    void write_settings(const std::string &rules) {
        std::string text = "plugin " RECORDING_PLUGIN "\n" + rules + "\n";
        for (size_t at = text.find("$DIR"); at != std::string::npos; at = text.find("$DIR"))
            text.replace(at, 4, directory.path());
        std::ofstream(settings_path()) << text;
    }

    std::string settings_path() const { return directory.path() + "/filter.conf"; }
    void make_file(const std::string &name) const { std::ofstream(directory.path() + "/" + name) << ""; }

    template <class Function>
    Function *entry(const char *name) const {
        return reinterpret_cast<Function *>(dlsym(m_library, name));
    }

    TempDirectory directory;
    Recording *recorded;

private:
    void *m_recorder;
    void *m_library = nullptr;
};

#define ENTRY(filtered, name) (filtered).entry<decltype(::name)>(#name)
