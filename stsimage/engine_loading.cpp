#include "stsimage/engine_loading.h"

#include <dlfcn.h>

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

constexpr EngineHost host{tell, tell_system, latest, tell_failure_again, call_state, give_up_open_at_end};

std::mutex engines_mutex;
NeverDestroyed<std::map<std::string, const Engine *>> engines;

std::string path_of_this_library() {
    Dl_info self{};
    return dladdr(reinterpret_cast<const void *>(&host), &self) != 0 && self.dli_fname != nullptr ? self.dli_fname : "";
}

// Threads of engines last as long as the process, and call this library.
void stay_loaded() { dlopen(path_of_this_library().c_str(), RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE); }

// Where engines lie: what is built or installed together stays together.
std::string directory_of_engines() {
    const std::string path = path_of_this_library();
    const size_t slash = path.rfind('/');
    return (slash == path.npos ? std::string() : path.substr(0, slash + 1)) + "stsimage/";
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
