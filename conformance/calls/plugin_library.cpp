#include "conformance/calls/plugin_library.h"

#include <dlfcn.h>
#include <link.h>

#include <filesystem>
#include <stdexcept>

namespace conformance {

namespace fs = std::filesystem;

PluginLibrary::PluginLibrary(const std::string &path, int mode) : handle_(dlopen(path.c_str(), mode)) {
    if (handle_ == nullptr)
        throw std::runtime_error(dlerror());
    link_map *map = nullptr;
    dlinfo(handle_, RTLD_DI_LINKMAP, &map);
    base_ = reinterpret_cast<void *>(map->l_addr);  // NOLINT(performance-no-int-to-ptr)
}

PluginLibrary::~PluginLibrary() { dlclose(handle_); }

void *PluginLibrary::symbol(const std::string &name) const {
    void *address = dlsym(handle_, name.c_str());
    Dl_info info;
    if (address == nullptr || dladdr(address, &info) == 0 || info.dli_fbase != base_)
        return nullptr;
    return address;
}

std::string PluginLibrary::object_of(const void *address) {
    Dl_info info;
    return address != nullptr && dladdr(address, &info) != 0 ? info.dli_fname : "";
}

bool PluginLibrary::is_loaded(const std::string &path) {
    void *handle = dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD);
    if (handle != nullptr)
        dlclose(handle);
    return handle != nullptr;
}

std::string suite_library(const std::string &file_name) {
    return (fs::read_symlink("/proc/self/exe").parent_path().parent_path() / "lib" / "stspi-conformance" / file_name)
        .string();
}

}  // namespace conformance
