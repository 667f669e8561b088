#include "simhost/commands/mending.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "base/escaped_text.h"
#include "simhost/report/failure.h"

namespace {

[[noreturn]] void fail(const std::string &path, const char *what) {
    throw UsageError(fmt::format("{}: {}: {}", printable(path), what, std::strerror(errno)));
}

// The file itself, links followed, so that a link stays one.
std::string real_path(const std::string &path) {
    const std::unique_ptr<char, decltype(&std::free)> real(realpath(path.c_str(), nullptr), &std::free);
    if (real == nullptr)
        fail(path, "cannot be found");
    return real.get();
}

// A second name for the file. No name that ends in ".sim", which the plug-in would read.
std::string keep_old(const std::string &path) {
    for (int number = 0; number < 1000; ++number) {
        std::string kept = number == 0 ? path + ".orig" : fmt::format("{}.orig.{}", path, number);
        if (link(path.c_str(), kept.c_str()) == 0)
            return kept;
        if (errno != EEXIST)
            break;
    }
    fail(path, "no copy of the file can be kept beside it");
}

void write_all(int descriptor, const std::string &bytes, const std::string &path) {
    for (size_t done = 0; done < bytes.size();) {
        const ssize_t count = write(descriptor, bytes.data() + done, bytes.size() - done);
        if (count < 0 && errno != EINTR)
            fail(path, "cannot be written");
        done += count > 0 ? static_cast<size_t>(count) : 0;
    }
}

// A file that goes away unless it got its place.
class Replacement {
public:
    explicit Replacement(const std::string &path) : m_path(path + ".XXXXXX"), m_descriptor(mkstemp(m_path.data())) {
        if (m_descriptor < 0)
            fail(path, "no new file can be made beside it");
    }
    ~Replacement() {
        if (m_descriptor >= 0)
            close(m_descriptor);
        if (!m_path.empty())
            unlink(m_path.c_str());
    }
    Replacement(const Replacement &) = delete;
    Replacement &operator=(const Replacement &) = delete;

    void fill(const std::string &bytes, const struct stat &like) {
        write_all(m_descriptor, bytes, m_path);
        // Another owner's file stays readable for the same people, as far as this user may see to it.
        if (fchown(m_descriptor, like.st_uid, like.st_gid) != 0 && errno != EPERM)
            fail(m_path, "cannot be given its owner");
        if (fchmod(m_descriptor, like.st_mode & 07777U) != 0 || fsync(m_descriptor) != 0)
            fail(m_path, "cannot be written");
    }

    void take_place_of(const std::string &path) {
        if (rename(m_path.c_str(), path.c_str()) != 0)
            fail(path, "cannot be replaced");
        m_path.clear();
    }

private:
    std::string m_path;
    int m_descriptor;
};

}  // namespace

std::string write_mended(const std::string &path, const Mend &mend) {
    const std::string file = real_path(path);
    struct stat state {};
    if (stat(file.c_str(), &state) != 0 || !S_ISREG(state.st_mode)) {
        errno = errno != 0 ? errno : EINVAL;
        fail(path, "is no file that can be mended");
    }
    Replacement replacement(file);
    replacement.fill(mend.bytes, state);
    std::string kept = keep_old(file);
    replacement.take_place_of(file);
    return kept;
}
