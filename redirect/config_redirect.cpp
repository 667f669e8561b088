#include "redirect/config_redirect.h"

#include <dlfcn.h>

#include <cstdio>
#include <cstring>
#include <map>

namespace {

constexpr char real_directory[] = "/etc/quillmere";
constexpr size_t real_length = sizeof real_directory - 1;

std::string &replacement() {
    static std::string directory;
    return directory;
}

std::map<std::string, std::string> &texts() {
    static std::map<std::string, std::string> content;
    return content;
}

using OpenFunction = FILE *(*)(const char *, const char *);

OpenFunction next_fopen() {
    static const auto function = reinterpret_cast<OpenFunction>(dlsym(RTLD_NEXT, "fopen"));
    return function;
}

bool (*is_new_file)(const char *path) = nullptr;
void (*file_made)(const char *path) = nullptr;

FILE *open_observed(const char *path, const char *mode) {
    const bool is_new = is_new_file != nullptr && mode != nullptr && *mode != 'r' && is_new_file(path);
    FILE *file = next_fopen()(path, mode);
    if (is_new && file != nullptr)
        file_made(path);
    return file;
}

}  // namespace

void set_creation_observer(bool (*is_new)(const char *path), void (*made)(const char *path)) {
    is_new_file = is_new;
    file_made = made;
}

void set_config_directory(const std::string &directory) { replacement() = directory; }

std::string config_directory() { return replacement().empty() ? real_directory : replacement(); }

void set_config_text(const std::string &file_name, const std::string &text) { texts()[file_name] = text; }

void clear_config_texts() { texts().clear(); }

extern "C" __attribute__((visibility("default"))) FILE *fopen(const char *path, const char *mode) {
    if (path == nullptr || std::strncmp(path, real_directory, real_length) != 0 || path[real_length] != '/')
        return open_observed(path, mode);
    if (!texts().empty() && *mode == 'r') {
        const auto text = texts().find(path + real_length + 1);
        if (text != texts().end())
            return fmemopen(text->second.data(), text->second.size(), "r");
    }
    if (!replacement().empty())
        return open_observed((replacement() + (path + real_length)).c_str(), mode);
    return open_observed(path, mode);
}
