#include "tests/support/file_system_double.h"

#include <dlfcn.h>

namespace {

FileSystemDouble *current = nullptr;

}  // namespace

FileSystemDouble::FileSystemDouble(const struct statvfs &answer) : m_answer(answer) { current = this; }

FileSystemDouble::~FileSystemDouble() { current = nullptr; }

extern "C" __attribute__((visibility("default"))) int statvfs(const char *path, struct statvfs *out) noexcept {
    static const auto next = reinterpret_cast<int (*)(const char *, struct statvfs *)>(dlsym(RTLD_NEXT, "statvfs"));
    if (current == nullptr)
        return next(path, out);
    *out = current->answer_for(path);
    return 0;
}
