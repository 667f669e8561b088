#include "redirect/config_redirect.h"

#include <dlfcn.h>

#include <cstdio>
#include <cstring>

namespace {

constexpr char real_directory[] = "/etc/quillmere";
constexpr size_t real_length = sizeof real_directory - 1;

std::string &replacement() {
    static std::string directory;
    return directory;
}

using OpenFunction = FILE *(*)(const char *, const char *);

OpenFunction next_fopen() {
    static const auto function = reinterpret_cast<OpenFunction>(dlsym(RTLD_NEXT, "fopen"));
    return function;
}

}  // namespace

void set_config_directory(const std::string &directory) { replacement() = directory; }

std::string config_directory() { return replacement().empty() ? real_directory : replacement(); }

extern "C" __attribute__((visibility("default"))) FILE *fopen(const char *path, const char *mode) {
    if (path != nullptr && !replacement().empty() && std::strncmp(path, real_directory, real_length) == 0 &&
        path[real_length] == '/')
        return next_fopen()((replacement() + (path + real_length)).c_str(), mode);
    return next_fopen()(path, mode);
}
