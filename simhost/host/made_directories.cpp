#include "simhost/host/made_directories.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <mutex>
#include <string_view>
#include <system_error>

#include "simhost/faults/journal_mark.h"
#include "simhost/host/failed_file_call.h"

namespace {

std::mutex mutex;
bool recording = false;

std::vector<std::string> &record() {
    static std::vector<std::string> directories;
    return directories;
}

// The filter keeps the data of its journal in a directory beside that.
bool is_data_of_journal(const std::string &directory) {
    constexpr std::string_view ending = ".data";
    return directory.size() > ending.size() &&
           directory.compare(directory.size() - ending.size(), ending.size(), ending) == 0 &&
           is_marked_as_journal(directory.substr(0, directory.size() - ending.size()));
}

// Called for directories that were made just now. The path is resolved at once: links on the way to it may be gone, or
// lead elsewhere, when it is to be removed. errno stays as it is.
void note(int base, const char *path) {
    const int error = errno;
    const std::lock_guard<std::mutex> lock(mutex);
    if (recording) {
        const std::string from = base == AT_FDCWD ? "." : "/proc/self/fd/" + std::to_string(base);
        std::error_code failure;
        const std::filesystem::path made = std::filesystem::canonical(std::filesystem::path(from) / path, failure);
        if (!failure && !is_data_of_journal(made.string()))
            record().push_back(made.string());
    }
    errno = error;
}

}  // namespace

void record_made_directories() {
    const std::lock_guard<std::mutex> lock(mutex);
    recording = true;
    record().clear();
}

std::vector<std::string> made_directories() {
    const std::lock_guard<std::mutex> lock(mutex);
    return record();
}

std::vector<std::string> remove_made_directories() {
    const std::lock_guard<std::mutex> lock(mutex);
    std::vector<std::string> remaining;
    for (auto path = record().rbegin(); path != record().rend(); ++path)
        if (rmdir(path->c_str()) != 0 && errno != ENOENT)
            remaining.push_back(*path);
    record().clear();
    return remaining;
}

extern "C" __attribute__((visibility("default"))) int mkdir(const char *path, mode_t mode) noexcept {
    static const auto next = reinterpret_cast<int (*)(const char *, mode_t)>(dlsym(RTLD_NEXT, "mkdir"));
    const int result = next(path, mode);
    if (result == 0)
        note(AT_FDCWD, path);
    else
        note_failed_file_call("the directory {} could not be made", path);
    return result;
}

extern "C" __attribute__((visibility("default"))) int mkdirat(int base, const char *path, mode_t mode) noexcept {
    static const auto next = reinterpret_cast<int (*)(int, const char *, mode_t)>(dlsym(RTLD_NEXT, "mkdirat"));
    const int result = next(base, path, mode);
    if (result == 0)
        note(base, path);
    else
        note_failed_file_call("the directory {} could not be made", path);
    return result;
}
