#include "conformance/run/child_process.h"

#include <fmt/format.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "conformance/run/surroundings.h"
#include "conformance/watch/sanitizers.h"
#include "conformance/watch/standard_output.h"

namespace conformance {

namespace {

constexpr size_t longest_error_output = 4000;
constexpr std::chrono::milliseconds between_looks{100};

SharedNote *new_note() {
    void *memory = mmap(nullptr, sizeof(SharedNote), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED)
        throw std::runtime_error("no memory for a test's process");
    return new (memory) SharedNote{};
}

std::string signal_text(int number) {
    const char *name = sigabbrev_np(number);
    return fmt::format("signal {} ({}{})", number, name == nullptr ? "" : "SIG", name == nullptr ? "unknown" : name);
}

[[noreturn]] void run_in_child(const std::function<void(int)> &work, int report, int output, int errors,
                               SharedNote *note, pid_t parent) {
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent)
        _exit(1);
    // Children that a plug-in's own child left come to this process, where they are seen.
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    const rlimit no_core{0, 0};
    setrlimit(RLIMIT_CORE, &no_core);
    for (const int number : {SIGINT, SIGTERM, SIGHUP})
        std::signal(number, SIG_DFL);
    prepare_test_process();
    set_shared_note(note);
    redirect_output(output, errors);
    work(report);
    note_stage("the end of the process");
    note->finished = 1;
    // The leak sanitizer would look once more, with the plug-in gone. Otherwise what a library does at the end of a
    // process is part of the test.
    if (has_leak_sanitizer)
        _exit(0);
    std::exit(0);
}

}  // namespace

UnnamedFile::UnnamedFile(const char *label) : descriptor_(memfd_create(label, MFD_CLOEXEC)) {
    if (descriptor_ < 0)
        throw std::runtime_error(fmt::format("cannot make a file in memory: {}", std::strerror(errno)));
}

UnnamedFile::~UnnamedFile() {
    if (descriptor_ >= 0)
        close(descriptor_);
}

UnnamedFile::UnnamedFile(UnnamedFile &&other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}

std::string UnnamedFile::contents() const {
    std::string text;
    char buffer[8192];
    for (ssize_t count; (count = pread(descriptor_, buffer, sizeof buffer, static_cast<off_t>(text.size()))) > 0;)
        text.append(buffer, static_cast<size_t>(count));
    return text;
}

ChildProcess::ChildProcess(const std::function<void(int)> &work, std::chrono::milliseconds time_limit)
    : report_("report"),
      output_("standard output"),
      errors_("standard error"),
      note_(new_note()),
      start_(Clock::now()),
      time_limit_(time_limit),
      next_look_(start_ + between_looks) {
    std::fflush(nullptr);
    const pid_t parent = getpid();
    process_ = fork();
    if (process_ < 0)
        throw std::runtime_error(fmt::format("cannot start a process: {}", std::strerror(errno)));
    if (process_ == 0)
        run_in_child(work, report_.descriptor(), output_.descriptor(), errors_.descriptor(), note_, parent);
    setpgid(process_, process_);
    // By number: the C library of Debian 12 declares the wrapper for C only.
    end_descriptor_ = static_cast<int>(syscall(SYS_pidfd_open, process_, 0));
    if (end_descriptor_ < 0)
        throw std::runtime_error(fmt::format("cannot watch a process: {}", std::strerror(errno)));
    time_.emplace(process_);
}

ChildProcess::~ChildProcess() {
    finish();
    munmap(note_, sizeof *note_);
}

void ChildProcess::finish() {
    if (finished_)
        return;
    finished_ = true;
    pollfd end{end_descriptor_, POLLIN, 0};
    timed_out_ = poll(&end, 1, 0) == 0;
    // The group outlives its leader when a child of the plug-in still runs.
    kill(-process_, SIGKILL);
    while (waitpid(process_, &wait_status_, 0) < 0 && errno == EINTR) {
    }
    close(end_descriptor_);
    seconds_ = std::chrono::duration<double>(Clock::now() - start_).count();
}

bool ChildProcess::is_out_of_time() {
    const Clock::time_point now = Clock::now();
    if (now < next_look_)
        return false;
    next_look_ = now + between_looks;
    return time_->spent() >= time_limit_;
}

bool ChildProcess::ended_well() const {
    return !timed_out_ && note_->finished == 1 && WIFEXITED(wait_status_) && WEXITSTATUS(wait_status_) == 0;
}

bool ChildProcess::crashed() const {
    return WIFSIGNALED(wait_status_) || error_output().find("Sanitizer") != std::string::npos ||
           error_output().find("runtime error:") != std::string::npos;
}

std::string ChildProcess::end_text() const {
    const std::string place = place_text(*note_);
    if (timed_out_)
        return fmt::format("no end within {:.0f} s, {}", std::chrono::duration<double>(time_limit_).count(), place);
    if (WIFSIGNALED(wait_status_))
        return fmt::format("ended by {} {}", signal_text(WTERMSIG(wait_status_)), place);
    return fmt::format("the process ended with exit status {} {}", WEXITSTATUS(wait_status_), place);
}

std::string ChildProcess::error_output() const {
    std::string text = errors_.contents();
    if (text.size() > longest_error_output)
        text =
            // cppcheck-suppress uselessCallsSubstr  ; the middle goes
            text.substr(0, longest_error_output / 2) + "\n...\n" + text.substr(text.size() - longest_error_output / 2);
    return text;
}

size_t wait_for_any(const std::vector<ChildProcess *> &children, const std::function<bool()> &stopped) {
    while (!stopped()) {
        std::vector<pollfd> ends;
        ends.reserve(children.size());
        for (const ChildProcess *child : children)
            ends.push_back({child->end_descriptor(), POLLIN, 0});
        poll(ends.data(), ends.size(), between_looks.count());
        for (size_t i = 0; i < children.size(); ++i)
            if (ends[i].revents != 0 || children[i]->is_out_of_time()) {
                children[i]->finish();
                return i;
            }
    }
    return children.size();
}

}  // namespace conformance
