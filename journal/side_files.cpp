#include "journal/side_files.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <new>

#define XXH_INLINE_ALL
#include <xxhash.h>

namespace journal {

namespace {

bool write_all(int descriptor, const char *bytes, size_t size) noexcept {
    while (size > 0) {
        const ssize_t written = write(descriptor, bytes, size);
        if (written < 0 && errno != EINTR)
            return false;
        if (written > 0) {
            bytes += written;
            size -= static_cast<size_t>(written);
        }
    }
    return true;
}

// Under a name of this thread's own first, so that a file under its hash is always whole.
bool save_as(const std::string &name, const std::string &directory, const void *bytes, size_t size) {
    if (access(name.c_str(), F_OK) == 0)
        return true;
    // Past the limit of file sizes the system would send SIGXFSZ.
    rlimit limit = {};
    if (getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY && size > limit.rlim_cur)
        return false;
    if (mkdir(directory.c_str(), 0777) != 0 && errno != EEXIST)
        return false;
    const std::string unfinished = directory + "/unfinished." + std::to_string(gettid());
    const int descriptor = open(unfinished.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0666);
    if (descriptor < 0)
        return false;
    const bool written = write_all(descriptor, static_cast<const char *>(bytes), size);
    if (close(descriptor) == 0 && written && rename(unfinished.c_str(), name.c_str()) == 0)
        return true;
    unlink(unfinished.c_str());
    return false;
}

}  // namespace

std::string hash_name(const DataItem &data) {
    char name[33];
    std::snprintf(name, sizeof name, "%016llx%016llx", static_cast<unsigned long long>(data.hash_high),
                  static_cast<unsigned long long>(data.hash_low));
    return name;
}

DataItem hash_data(const void *bytes, size_t size) noexcept {
    const XXH128_hash_t hash = XXH3_128bits(bytes, size);
    return {size, hash.high64, hash.low64};
}

bool save_data(const std::string &directory, const DataItem &data, const void *bytes) noexcept {
    const int saved = errno;
    bool kept = false;
    try {
        kept = save_as(directory + '/' + hash_name(data), directory, bytes, data.size);
    } catch (const std::bad_alloc &) {
        kept = false;
    }
    errno = saved;
    return kept;
}

}  // namespace journal
