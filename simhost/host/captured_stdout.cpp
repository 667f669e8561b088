#include "simhost/host/captured_stdout.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <iostream>
#include <system_error>

namespace {

constexpr off_t kept_bytes = 1 << 20;

// Libraries in this process share the C and C++ standard streams with the program.
void flush_standard_output() {
    std::cout.flush();
    std::fflush(stdout);
}

}  // namespace

CapturedStdout::CapturedStdout() {
    flush_standard_output();
    m_memory = memfd_create("captured standard output", MFD_CLOEXEC);
    if (m_memory < 0)
        throw std::system_error(errno, std::generic_category(), "cannot make room for captured output");
    const int own = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    m_own = own < 0 ? nullptr : fdopen(own, "w");
    if (m_own == nullptr || dup2(m_memory, STDOUT_FILENO) < 0) {
        const int error = errno;
        if (m_own != nullptr)
            std::fclose(m_own);
        else if (own >= 0)
            close(own);
        close(m_memory);
        throw std::system_error(error, std::generic_category(), "cannot redirect standard output");
    }
}

CapturedStdout::~CapturedStdout() {
    flush_standard_output();
    std::fflush(m_own);
    dup2(fileno(m_own), STDOUT_FILENO);
    std::fclose(m_own);
    close(m_memory);
}

std::string CapturedStdout::take() {
    flush_standard_output();
    const off_t size = lseek(m_memory, 0, SEEK_CUR);
    if (size <= 0)
        return {};
    std::string text(static_cast<size_t>(size < kept_bytes ? size : kept_bytes), '\0');
    const ssize_t got = pread(m_memory, text.data(), text.size(), 0);
    text.resize(got < 0 ? 0 : static_cast<size_t>(got));
    if (size > kept_bytes)
        text += "\n(more was printed than is kept)\n";
    if (ftruncate(m_memory, 0) == 0)
        lseek(m_memory, 0, SEEK_SET);
    return text;
}
