#include "simhost/host/data_source.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "simhost/host/interrupt.h"
#include "simhost/report/failure.h"

namespace {

[[noreturn]] void refuse(const std::string &name, const char *what) {
    throw UsageError(fmt::format("cannot {} {}: {}", what, name, std::strerror(errno)));
}

// Repeats one_read(filled) until the buffer is full or the data ends.
template <class OneRead>
size_t fill(size_t length, const std::string &name, OneRead &&one_read) {
    size_t filled = 0;
    while (filled < length) {
        stop_if_interrupted();
        const ssize_t got = one_read(filled);
        if (got == 0)
            break;
        if (got > 0)
            filled += static_cast<size_t>(got);
        else if (errno != EINTR)
            refuse(name, "read");
    }
    return filled;
}

}  // namespace

DataSource::DataSource(const std::string &name)
    : m_name(name == "-" ? "standard input" : name),
      m_descriptor(name == "-" ? STDIN_FILENO : open(name.c_str(), O_RDONLY | O_CLOEXEC)) {
    struct stat status = {};
    if (m_descriptor < 0 || fstat(m_descriptor, &status) != 0)
        refuse(m_name, "open");
    // Told before anything is made of data that cannot be read.
    if (const int flags = fcntl(m_descriptor, F_GETFL); flags >= 0 && (flags & O_ACCMODE) == O_WRONLY)
        throw UsageError(fmt::format("cannot read {}: it is closed, or open for writing only", m_name));
    if (S_ISDIR(status.st_mode)) {
        errno = EISDIR;
        refuse(m_name, "read");
    }
    if (name != "-" && S_ISREG(status.st_mode))
        m_size = static_cast<uint64_t>(status.st_size);
}

DataSource::~DataSource() {
    if (m_descriptor != STDIN_FILENO)
        close(m_descriptor);
}

bool DataSource::is_terminal() const { return isatty(m_descriptor) != 0; }

size_t DataSource::read(void *buffer, size_t length) {
    return fill(length, m_name, [&](size_t filled) {
        return ::read(m_descriptor, static_cast<char *>(buffer) + filled, length - filled);
    });
}

size_t DataSource::read_at(void *buffer, size_t length, uint64_t offset) {
    return fill(length, m_name, [&](size_t filled) {
        return pread(m_descriptor, static_cast<char *>(buffer) + filled, length - filled,
                     static_cast<off_t>(offset + filled));
    });
}
