#include "sim/config_file.h"

#include <cerrno>
#include <climits>
#include <new>

namespace {

constexpr std::string_view directory = "/etc/quillmere/";
constexpr std::string_view suffix = ".sim";

}  // namespace

std::string configuration_name(std::string_view server_name) {
    return std::string(server_name.substr(0, server_name.find(':')));
}

File open_configuration(std::string_view configuration_name, const char *mode) {
    char path[PATH_MAX];  // what is longer no system call takes
    if (configuration_name.size() >= sizeof path - directory.size() - suffix.size()) {
        errno = ENAMETOOLONG;
        return nullptr;
    }
    char *end = path;
    for (const std::string_view part : {directory, configuration_name, suffix})
        end += part.copy(end, part.size());
    *end = '\0';
    File file(std::fopen(path, mode));
    if (file == nullptr && errno == ENOMEM)
        throw std::bad_alloc();
    return file;
}
