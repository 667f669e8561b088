#include "sim/make_directory.h"

#include <sys/stat.h>

#include <cerrno>

int make_directory(const char *path) {
    constexpr mode_t mode = 0700;
    return mkdir(path, mode) == 0 || errno == EEXIST ? 0 : errno;
}
