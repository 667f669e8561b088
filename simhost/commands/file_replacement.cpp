#include "simhost/commands/file_replacement.h"

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

[[noreturn]] void refuse(const std::string &path, const char *what) {
    throw UsageError(fmt::format("{}: {}: {}", printable(path), what, std::strerror(errno)));
}

std::string real_path(const std::string &path) {
    const std::unique_ptr<char, decltype(&std::free)> real(realpath(path.c_str(), nullptr), &std::free);
    if (real == nullptr)
        refuse(path, "cannot be found");
    return real.get();
}

struct stat state_of(const std::string &path) {
    struct stat state {};
    if (stat(path.c_str(), &state) != 0)
        refuse(path, "cannot be found");
    return state;
}

void write_all(int descriptor, const std::string &bytes, const std::string &path) {
    for (size_t done = 0; done < bytes.size();) {
        const ssize_t count = write(descriptor, bytes.data() + done, bytes.size() - done);
        if (count < 0 && errno != EINTR)
            refuse(path, "cannot be written");
        done += count > 0 ? static_cast<size_t>(count) : 0;
    }
}

}  // namespace

FileReplacement::FileReplacement(const std::string &path) : m_target(real_path(path)), m_path(m_target + ".XXXXXX") {
    if (!S_ISREG(state_of(m_target).st_mode))
        throw UsageError(fmt::format("{}: is no file that can be replaced", printable(path)));
    m_descriptor = mkstemp(m_path.data());
    if (m_descriptor < 0)
        refuse(m_target, "no new file can be made beside it");
}

FileReplacement::~FileReplacement() {
    close(m_descriptor);
    if (!m_path.empty())
        unlink(m_path.c_str());
}

void FileReplacement::fill(const std::string &bytes) {
    const struct stat like = state_of(m_target);
    write_all(m_descriptor, bytes, m_path);
    // Another owner's file stays readable for the same people, as far as this user may see to it.
    if (fchown(m_descriptor, like.st_uid, like.st_gid) != 0 && errno != EPERM)
        refuse(m_path, "cannot be given its owner");
    if (fchmod(m_descriptor, like.st_mode & 07777U) != 0 || fsync(m_descriptor) != 0)
        refuse(m_path, "cannot be written");
}

void FileReplacement::take_place() {
    if (rename(m_path.c_str(), m_target.c_str()) != 0)
        refuse(m_target, "cannot be replaced");
    m_path.clear();
}
