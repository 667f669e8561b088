#include "stsimage/engine_loading.h"

#include <dlfcn.h>
#include <link.h>

#include <climits>
#include <map>
#include <mutex>

#include "stsimage/last_error.h"
#include "stsimage/never_destroyed.h"
#include "stsimage/open_handles.h"
#include "stsimage/quoted_text.h"
#include "stspi/stsimg.h"

namespace stsimage {

namespace {

int32_t tell(int32_t status, const char *text) { return fail(status, "%s", text); }
int32_t tell_system(int error, const char *text) { return fail_system(error, "%s", text); }
const char *latest(int &out_error) {
    out_error = last_system_error();
    return last_error();
}

constexpr EngineHost host{tell,       tell_system,         latest,          tell_failure_again,
                          call_state, give_up_open_at_end, time_left_at_end};

std::mutex engines_mutex;
NeverDestroyed<std::map<std::string, const Engine *>> engines;

link_map *this_library(Dl_info &out_info) {
    void *library = nullptr;
    const bool found = dladdr1(reinterpret_cast<const void *>(&host), &out_info, &library, RTLD_DL_LINKMAP) != 0;
    return found ? static_cast<link_map *>(library) : nullptr;
}

// Threads of engines last as long as the process, and call this library.
void stay_loaded() {
    Dl_info self{};
    if (this_library(self) != nullptr)
        dlopen(self.dli_fname, RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE);
}

// Where engines lie: what is built or installed together stays together. Its path may be relative to a directory in which the process
// was once.
std::string directory_of_engines() {
    Dl_info self{};
    link_map *const library = this_library(self);
    char directory[PATH_MAX] = "";
    if (library == nullptr || dlinfo(library, RTLD_DI_ORIGIN, directory) != 0)
        return "stsimage/";
    return std::string(directory) + "/stsimage/";
}

int32_t load_engine(const std::string &name, const Engine *&out_engine) {
    const std::string path = directory_of_engines() + name + ".so";
    void *const library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (library == nullptr)
        return fail(STS_E_SYSTEM, "the library for images in %s cannot be loaded: %s", name.c_str(), dlerror());
    const auto get_engine = reinterpret_cast<EngineFunction>(dlsym(library, engine_symbol));
    const Engine *const engine = get_engine != nullptr ? get_engine(&host) : nullptr;
    if (engine == nullptr || engine->interface != engine_interface)
        return fail(STS_E_VERSION, "%s is of another version than the image library", QuotedText(path).c_str());
    stay_loaded();
    out_engine = engine;
    return 0;
}

}  // namespace

int32_t find_engine(const std::string &name, const Engine *&out_engine) {
    const std::lock_guard<std::mutex> lock(engines_mutex);
    const Engine *&engine = (*engines)[name];
    if (engine == nullptr)
        if (const int32_t status = load_engine(name, engine); status != 0)
            return status;
    out_engine = engine;
    return 0;
}

}  // namespace stsimage
