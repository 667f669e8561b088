#include "conformance/calls/plugin_library.h"

#include <dlfcn.h>
#include <link.h>

#include <filesystem>
#include <stdexcept>

#include "conformance/watch/call_note.h"
#include "conformance/watch/call_watch.h"

namespace conformance {

namespace fs = std::filesystem;

namespace {

void *open_library(const std::string &path, const std::string &call, int mode) {
    const LoaderNote note(call);
    const CallWatch watch(call);
    return dlopen(path.c_str(), mode);
}

}  // namespace

PluginLibrary::PluginLibrary(const std::string &path, int mode)
    : file_name_(fs::path(path).filename().string()), handle_(open_library(path, "dlopen of " + file_name_, mode)) {
    if (handle_ == nullptr)
        throw std::runtime_error(dlerror());
    link_map *map = nullptr;
    dlinfo(handle_, RTLD_DI_LINKMAP, &map);
    base_ = reinterpret_cast<void *>(map->l_addr);  // NOLINT(performance-no-int-to-ptr)
}

PluginLibrary::~PluginLibrary() {
    // A call that ends the process brings this about, too: it stays the call that did.
    if (is_this_thread_in_a_call()) {
        dlclose(handle_);
        return;
    }
    const std::string call = "dlclose of " + file_name_;
    const LoaderNote note(call);
    const CallWatch watch(call);
    dlclose(handle_);
}

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
