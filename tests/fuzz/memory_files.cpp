#include "tests/fuzz/memory_files.h"

#include <dlfcn.h>
#include <stdio.h>

#include <cstring>

namespace {

std::string content;

ssize_t take(void *, const char *bytes, size_t size) {
    content.append(bytes, size);
    return static_cast<ssize_t>(size);
}

}  // namespace

void set_memory_file(const std::string &text) { content = text; }

std::string memory_file() { return content; }

extern "C" FILE *fopen(const char *path, const char *mode) {
    constexpr char directory[] = "/etc/quillmere/";
    if (std::strncmp(path, directory, sizeof directory - 1) != 0) {
        static const auto next = reinterpret_cast<FILE *(*)(const char *, const char *)>(dlsym(RTLD_NEXT, "fopen"));
        return next(path, mode);
    }
    if (*mode == 'r')
        return fmemopen(content.data(), content.size(), "r");
    content.clear();
    return fopencookie(nullptr, mode, {nullptr, take, nullptr, nullptr});
}
