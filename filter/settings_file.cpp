#include "filter/settings_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "filter/ledger/ledger.h"

namespace filter {

namespace {

std::string contents(const std::string &path) {
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0)
        throw std::runtime_error(path + ": error: the filter's settings cannot be read: " + std::strerror(errno));
    std::string text;
    char piece[4096];
    ssize_t got = 0;
    while ((got = read(file, piece, sizeof piece)) > 0 || (got < 0 && errno == EINTR))
        if (got > 0)
            text.append(piece, static_cast<size_t>(got));
    const int error = errno;
    close(file);
    if (got < 0)
        throw std::runtime_error(path + ": error: the filter's settings cannot be read: " + std::strerror(error));
    return text;
}

bool is_same_file(const std::string &a, const std::string &b) {
    struct stat first;
    struct stat second;
    return stat(a.c_str(), &first) == 0 && stat(b.c_str(), &second) == 0 && first.st_dev == second.st_dev &&
           first.st_ino == second.st_ino;
}

bool is_same_time(const timespec &a, const timespec &b) { return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec; }

void take_environment(Section &section) {
    if (const char *plugin = std::getenv("STSPI_FILTER_PLUGIN"))
        section.plugin = plugin;
    if (const char *journal = std::getenv("STSPI_FILTER_JOURNAL")) {
        section.journal = journal;
        section.journal_grows = true;
        section.journal_output = true;
        section.journal_bytes = uint64_t{1} << 34;
    }
    if (const char *ledger = std::getenv("STSPI_FILTER_LEDGER"))
        section.ledger = ledger;
}

}  // namespace

std::string settings_path() {
    const char *path = std::getenv("STSPI_FILTER");
    return path != nullptr && *path != '\0' ? path : "/etc/quillmere/filter.conf";
}

bool FileMark::operator==(const FileMark &other) const {
    return device == other.device && number == other.number && size == other.size &&
           is_same_time(changed, other.changed) && is_same_time(written, other.written);
}

FileMark mark_of_file(const std::string &path) {
    struct stat status;
    if (stat(path.c_str(), &status) != 0)
        return {};
    return {status.st_dev, status.st_ino, status.st_size, status.st_ctim, status.st_mtim};
}

ReadSettings read_settings_file(const std::string &path, const std::string &own_path) {
    ReadSettings result;
    result.text = contents(path);
    result.version = settings_version(result.text);
    Settings settings = read_settings(result.text);
    std::string mistakes;
    for (const Finding &finding : settings.errors)
        mistakes += (mistakes.empty() ? "" : "\n") + finding_text(path, finding);
    if (!mistakes.empty())
        throw std::runtime_error(mistakes);
    size_t chosen = 0;
    for (size_t i = 0; i < settings.sections.size(); ++i)
        if (is_same_file(settings.sections[i].plugin, own_path))
            chosen = i + 1;
    if (chosen == settings.sections.size())
        throw std::runtime_error(path + ":" + std::to_string(settings.sections.back().plugin_line) +
                                 ":1: error: the filter would wrap itself (a further plugin line below says what the "
                                 "filter of this line wraps)");
    result.section = std::move(settings.sections[chosen]);
    if (chosen == 0)
        take_environment(result.section);
    if (result.section.ledger.empty())
        result.section.ledger = default_ledger_path(path, chosen);
    if (result.section.plugin.empty())
        throw std::runtime_error(path + ":1:1: error: no line says which plug-in to wrap (write \"plugin PATH\")");
    if (is_same_file(result.section.plugin, own_path))
        throw std::runtime_error(path + ": error: the filter would wrap itself: " + result.section.plugin);
    return result;
}

}  // namespace filter
