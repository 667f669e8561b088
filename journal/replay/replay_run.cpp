#include "journal/replay/replay_run.h"

#include <dlfcn.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <stdexcept>
#include <thread>

#include "journal/replay/call_arguments.h"
#include "journal/writer.h"
#include "redirect/config_redirect.h"

using namespace journal;

namespace {

constexpr uint64_t journal_limit = uint64_t{1} << 32;
constexpr int cannot_replay = 99;  // exit status

thread_local CallNumber running_call = 0;
Writer *the_writer = nullptr;

void receive(uint64_t, const char *message, int32_t level) {
    the_writer->log(running_call, level, message == nullptr ? "" : message);
}

class Replay {
public:
    Replay(const RecordedSession &session, const std::vector<bool> &wanted, const ReplaySettings &settings,
           Writer &writer, int output)
        : session_(session), wanted_(wanted), settings_(settings), writer_(writer), output_(output) {
        if (!settings.image_library.empty() &&
            dlopen(settings.image_library.c_str(), RTLD_NOW | RTLD_GLOBAL) == nullptr)
            throw std::runtime_error(dlerror());
        library_ = dlopen(settings.plugin.c_str(), RTLD_NOW | RTLD_LOCAL);
        if (library_ == nullptr)
            throw std::runtime_error(dlerror());
        // Calls that are left out count as left.
        for (size_t i = 0; i < session.steps.size(); ++i)
            if (!wanted[i] && session.steps[i].left_as != 0)
                left_.insert(session.steps[i].left_as);
        advance();
    }

    void run() {
        std::map<std::pair<unsigned, unsigned>, std::vector<size_t>> by_thread;
        for (size_t i = 0; i < session_.steps.size(); ++i)
            if (wanted_[i])
                by_thread[{session_.steps[i].process, session_.steps[i].thread}].push_back(i);
        alone_ = by_thread.size() <= 1;
        start_ = std::chrono::steady_clock::now();
        if (by_thread.empty())
            return;
        std::vector<std::thread> threads;
        threads.reserve(by_thread.size());
        // The first on this thread: with one thread all is as it was.
        for (auto one = std::next(by_thread.begin()); one != by_thread.end(); ++one)
            threads.emplace_back([this, steps = one->second] { make_all(steps); });
        make_all(by_thread.begin()->second);
        for (std::thread &one : threads)
            one.join();
    }

private:
    void make_all(const std::vector<size_t> &steps) {
        for (const size_t i : steps) {
            const RecordedStep &step = session_.steps[i];
            wait_until_due(step);
            make(i);
            if (step.left_as == 0)
                continue;
            const std::lock_guard lock(mutex_);
            left_.insert(step.left_as);
            advance();
            changed_.notify_all();
        }
    }

    // Counts how many of the calls that were left first have been left now.
    void advance() {
        while (!left_.empty() && *left_.begin() == all_left_up_to_ + 1) {
            ++all_left_up_to_;
            left_.erase(left_.begin());
        }
    }

    void wait_until_due(const RecordedStep &step) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return all_left_up_to_ >= step.left_before; });
        lock.unlock();
        if (settings_.pace == ReplayPace::as_recorded)
            std::this_thread::sleep_until(
                start_ + std::chrono::nanoseconds(step.entered_ns - session_.steps.front().entered_ns));
    }

    uint64_t handle_now(HandleKind kind, uint64_t recorded) {
        const std::lock_guard lock(mutex_);
        const auto found = handles_.find({kind, recorded});
        if (found != handles_.end())
            return found->second;
        // Handles of images may be made up, and are the image library's business. The plug-in follows its own.
        return kind == HandleKind::image || kind == HandleKind::image_list ? recorded : 0;
    }

    const sts_session_def_v7_t *session_now(uint64_t context, uint64_t function, uint32_t mask) {
        const std::lock_guard lock(mutex_);
        auto &session = sessions_[{context, function}];
        if (!session)
            session = std::make_unique<sts_session_def_v7_t>();
        session->log_context = context;
        session->log_function = function == 0 ? nullptr : receive;
        session->log_mask = mask;
        return session.get();
    }

    void make(size_t index) {
        const RecordedStep &step = session_.steps[index];
        const EntryPoint &called = *journal::entry_point(step.entry_point);
        const HandleNow handle = [this](HandleKind kind, uint64_t value) { return handle_now(kind, value); };
        const SessionNow session = [this](uint64_t context, uint64_t function, uint32_t mask) {
            return session_now(context, function, mask);
        };
        CallArguments arguments(step, session_.data_directory, handle, session);
        const uint64_t *words = arguments.words();
        using Function = int32_t(uint64_t, uint64_t, uint64_t, uint64_t, uint64_t, uint64_t, uint64_t, uint64_t);
        auto *function = reinterpret_cast<Function *>(dlsym(library_, called.name));
        if (function == nullptr)
            throw std::runtime_error(fmt::format("{} exports no {}", settings_.plugin, called.name));
        if (settings_.before_step)
            settings_.before_step(index, words);
        running_call = writer_.enter(step.entry_point, words);
        const int32_t status = function(words[0], words[1], words[2], words[3], words[4], words[5], words[6], words[7]);
        if (alone_)
            keep_output();
        writer_.leave(running_call, step.entry_point, words, status);
        running_call = 0;
        if (const uint64_t recorded = step.stored_handle(); recorded != 0 && arguments.stored_handle() != 0)
            for (size_t i = 0; i < called.argument_count; ++i)
                if (called.arguments[i].kind == ArgumentKind::out_handle) {
                    const std::lock_guard lock(mutex_);
                    handles_[{called.arguments[i].handle, recorded}] = arguments.stored_handle();
                }
    }

    // What the call printed.
    void keep_output() {
        std::fflush(stdout);
        std::string text;
        char buffer[4096];
        for (ssize_t count; (count = pread(output_, buffer, sizeof buffer, output_taken_)) > 0; output_taken_ += count)
            text.append(buffer, static_cast<size_t>(count));
        if (!text.empty())
            writer_.output(running_call, text);
    }

    const RecordedSession &session_;
    const std::vector<bool> &wanted_;
    const ReplaySettings &settings_;
    Writer &writer_;
    int output_;
    off_t output_taken_ = 0;
    void *library_ = nullptr;
    bool alone_ = true;
    std::chrono::steady_clock::time_point start_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::set<uint64_t> left_;  // beyond the first all_left_up_to_
    uint64_t all_left_up_to_ = 0;
    std::map<std::pair<HandleKind, uint64_t>, uint64_t> handles_;
    std::map<std::pair<uint64_t, uint64_t>, std::unique_ptr<sts_session_def_v7_t>> sessions_;
};

// In the process that is made for it. Whatever the plug-in does with standard output goes to a file.
[[noreturn]] void replay_here(const RecordedSession &session, const std::vector<bool> &wanted,
                              const ReplaySettings &settings, const std::string &path, int reasons) {
    const int output = memfd_create("standard output", MFD_CLOEXEC);
    std::fflush(nullptr);
    dup2(output, STDOUT_FILENO);
    int status = cannot_replay;
    try {
        if (!settings.config_dir.empty())
            set_config_directory(settings.config_dir);
        if (settings.prepare)
            settings.prepare();
        WriterOptions options;
        options.path = path;
        options.limit = journal_limit;
        options.mode = Mode::growing;
        options.fresh = true;
        std::string error;
        int number = 0;
        const auto writer = Writer::open(options, {"simhost replay", settings.plugin, "", 0, 0}, error, number);
        if (!writer)
            throw std::runtime_error(error);
        the_writer = writer.get();
        Replay(session, wanted, settings, *writer, output).run();
        if (settings.finish)
            settings.finish();
        status = 0;
    } catch (const std::exception &error) {
        dprintf(reasons, "%s", error.what());
    }
    _exit(status);
}

}  // namespace

ReplayOutcome replay_calls(const RecordedSession &session, const std::vector<bool> &wanted,
                           const ReplaySettings &settings, const std::string &path) {
    const int reasons = memfd_create("reasons", MFD_CLOEXEC);
    const pid_t process = reasons < 0 ? -1 : fork();
    if (process < 0)
        throw std::runtime_error(fmt::format("cannot start a process: {}", std::strerror(errno)));
    if (process == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        replay_here(session, wanted, settings, path, reasons);
    }
    const int end = static_cast<int>(syscall(SYS_pidfd_open, process, 0));
    pollfd descriptor{end, POLLIN, 0};
    const bool ended = poll(&descriptor, 1, static_cast<int>(settings.time_limit.count())) == 1;
    close(end);
    if (!ended)
        kill(process, SIGKILL);
    int status = 0;
    while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    ReplayOutcome outcome;
    char reason[1024] = {};
    const ssize_t length = pread(reasons, reason, sizeof reason - 1, 0);
    close(reasons);
    if (!ended) {
        outcome.end = ReplayOutcome::End::hung;
    } else if (WIFSIGNALED(status)) {
        outcome.end = ReplayOutcome::End::crashed;
        outcome.signal = WTERMSIG(status);
    } else if (WEXITSTATUS(status) != 0) {
        outcome.end = WEXITSTATUS(status) == cannot_replay && length > 0 ? ReplayOutcome::End::failed
                                                                         : ReplayOutcome::End::crashed;
        outcome.reason = length > 0 ? reason : fmt::format("exit status {}", WEXITSTATUS(status));
    }
    return outcome;
}
