#include "tests/support/file_system_double.h"

#include <dlfcn.h>

namespace {

FileSystemDouble *present_double = nullptr;

}  // namespace

FileSystemDouble::FileSystemDouble(const struct statvfs &answer) : m_answer(answer) { present_double = this; }

FileSystemDouble::~FileSystemDouble() { present_double = nullptr; }

extern "C" __attribute__((visibility("default"))) int statvfs(const char *path, struct statvfs *out) noexcept {
    static const auto next = reinterpret_cast<int (*)(const char *, struct statvfs *)>(dlsym(RTLD_NEXT, "statvfs"));
    if (present_double == nullptr)
        return next(path, out);
    *out = present_double->answer_for(path);
    return 0;
}
