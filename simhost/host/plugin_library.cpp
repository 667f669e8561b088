#include "simhost/host/plugin_library.h"

#include <dlfcn.h>
#include <fmt/format.h>

#include <filesystem>
#include <system_error>

#include "simhost/host/install_paths.h"
#include "simhost/host/shared_object.h"
#include "simhost/report/failure.h"

namespace {

// The loader takes a bare name for one to search for, even where a file of that name is at hand.
std::string loadable(const std::string &path) {
    std::error_code failure;
    if (!std::filesystem::exists(path, failure))
        return path;
    demand_loadable(path);
    return std::filesystem::absolute(path).string();
}

// What to do about a library that another one needs and that is not there.
const char *hint(const std::string &loader_words) {
    return loader_words.rfind("libstsimage.so:", 0) == 0
               ? "; that is the image library: the framework's, or the package libstsimage-substitute (see "
                 "--image-library)"
               : "";
}

void *load(const std::string &path, const char *what) {
    void *library = dlopen(loadable(path).c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        const std::string words = dlerror();
        throw UsageError(fmt::format("cannot load the {}: {}{}", what, words, hint(words)));
    }
    return library;
}

}  // namespace

PluginLibrary::PluginLibrary(const std::string &path, const std::string &image_library, const std::string &filter) {
    if (!image_library.empty())
        load(image_library, "image library");
    m_library = filter.empty() ? load(path, "plug-in") : load(filter, "filter");
    init = reinterpret_cast<decltype(init)>(symbol("stspi_init"));
    init2 = reinterpret_cast<decltype(init2)>(symbol("stspi_init2"));
    if (init == nullptr || init2 == nullptr)
        throw UsageError(
            fmt::format("{} is not a plug-in: it exports no {}", path, init == nullptr ? "stspi_init" : "stspi_init2"));
    // The filter knows no image library: the plug-in behind it does.
    void *plugin = filter.empty() ? m_library : dlopen(loadable(path).c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (plugin == nullptr)
        return;
    m_image_library_error = reinterpret_cast<decltype(m_image_library_error)>(dlsym(plugin, "stsimg_last_error"));
    m_has_substitute = dlsym(plugin, "stsimg_check") != nullptr;
}

void *PluginLibrary::symbol(const char *name) const { return dlsym(m_library, name); }

std::string PluginLibrary::image_library_error() const {
    const char *text = m_image_library_error == nullptr ? nullptr : m_image_library_error();
    return text == nullptr ? "" : text;
}

namespace {

std::string installed_library(const char *name) {
    namespace fs = std::filesystem;
    std::error_code failure;
    const fs::path program = fs::read_symlink("/proc/self/exe", failure);
    if (!failure)
        for (const char *directory : {"../lib", SIMHOST_PLUGIN_DIRECTORY}) {
            const fs::path path = program.parent_path() / directory / name;
            if (fs::exists(path, failure))
                return fs::weakly_canonical(path, failure).string();
        }
    return name;
}

}  // namespace

std::string default_plugin_path() { return installed_library("libstspi_kelvarpool.so"); }

std::string default_filter_path() { return installed_library("libstspi_filter.so"); }
