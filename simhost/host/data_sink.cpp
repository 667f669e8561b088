#include "simhost/host/data_sink.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "base/escaped_text.h"
#include "simhost/host/interrupt.h"
#include "simhost/report/failure.h"

namespace {

// Bytes after which the system is asked to bring a file to the disk, so that the flush at the end has less to wait for.
constexpr off_t write_back_step = off_t{8} << 20;

mode_t ordinary_mode() {
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

}  // namespace

DataSink::DataSink(const std::string &name, bool replace, FILE *own_output)
    : m_name(name == "-" ? "standard output" : name), m_standard_output(name == "-") {
    if (m_standard_output) {
        m_descriptor = fileno(own_output);
        return;
    }
    struct stat status = {};
    const bool exists = lstat(name.c_str(), &status) == 0;
    if (exists && !S_ISREG(status.st_mode) && !S_ISLNK(status.st_mode)) {
        // A device or a pipe takes the data as it comes.
        m_descriptor = open(name.c_str(), O_WRONLY | O_CLOEXEC);
    } else {
        if (exists && !replace)
            throw UsageError(fmt::format("{} is there already; --replace writes over it", printable(name)));
        // A name of its own: the file's may be as long as a name can be.
        m_temporary = (std::filesystem::path(name).parent_path() / ".simhost-XXXXXX").string();
        m_descriptor = mkostemp(m_temporary.data(), O_CLOEXEC);
    }
    if (m_descriptor < 0)
        throw UsageError(fmt::format("cannot make {}: {}", printable(name), std::strerror(errno)));
}

DataSink::~DataSink() {
    if (m_descriptor >= 0 && !m_standard_output) {
        close(m_descriptor);
        if (!m_temporary.empty())
            unlink(m_temporary.c_str());
    }
}

void DataSink::write(const char *data, size_t length) {
    while (length > 0) {
        stop_if_interrupted();
        const ssize_t written = ::write(m_descriptor, data, length);
        if (written >= 0) {
            data += written;
            length -= static_cast<size_t>(written);
            start_write_back(written);
        } else if (errno == EPIPE && m_standard_output) {
            throw ReaderGone();
        } else if (errno != EINTR) {
            throw BadAnswer(fmt::format("cannot write {}: {}", printable(m_name), std::strerror(errno)));
        }
    }
}

void DataSink::start_write_back(off_t written) {
    m_waiting += written;
    m_end += written;
    if (m_temporary.empty() || m_waiting < write_back_step)
        return;
    // The flush might not tell again what the disk does not take; that the system cannot begin is no harm.
    if (sync_file_range(m_descriptor, m_end - m_waiting, m_waiting, SYNC_FILE_RANGE_WRITE) != 0 &&
        (errno == EIO || errno == ENOSPC || errno == EDQUOT))
        throw BadAnswer(fmt::format("cannot write {}: {}", printable(m_name), std::strerror(errno)));
    m_waiting = 0;
}

void DataSink::finish() {
    if (m_standard_output)
        return;
    bool good = m_temporary.empty() || fchmod(m_descriptor, ordinary_mode()) == 0;
    good = good && (m_temporary.empty() || fsync(m_descriptor) == 0);
    good = close(m_descriptor) == 0 && good;
    m_descriptor = -1;
    if (!m_temporary.empty() && (!good || rename(m_temporary.c_str(), m_name.c_str()) != 0)) {
        const int error = errno;
        unlink(m_temporary.c_str());
        errno = error;
        good = false;
    }
    if (!good)
        throw BadAnswer(fmt::format("cannot write {}: {}", printable(m_name), std::strerror(errno)));
}
