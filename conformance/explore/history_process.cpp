#include "conformance/explore/history_process.h"

#include <fmt/format.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <functional>
#include <stdexcept>
#include <utility>

#include "conformance/explore/player.h"
#include "conformance/model/text_rules.h"
#include "conformance/run/process_time.h"
#include "conformance/watch/standard_output.h"
#include "redirect/config_redirect.h"

namespace conformance {

namespace {

constexpr size_t longest_error_output = 6000;
constexpr int milliseconds_between_looks = 100;

int unnamed_file(const char *label) {
    const int file = memfd_create(label, MFD_CLOEXEC);
    if (file < 0)
        throw std::runtime_error(fmt::format("cannot make a file in memory: {}", std::strerror(errno)));
    return file;
}

void empty(int file) {
    if (ftruncate(file, 0) != 0 || lseek(file, 0, SEEK_SET) != 0)
        throw std::runtime_error(fmt::format("cannot empty a file in memory: {}", std::strerror(errno)));
}

std::string contents(int file) {
    std::string text(longest_error_output, '\0');
    const ssize_t count = pread(file, text.data(), text.size(), 0);
    text.resize(count < 0 ? 0 : static_cast<size_t>(count));
    return text;
}

SharedFinding *shared_finding() {
    void *memory = mmap(nullptr, sizeof(SharedFinding), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED)
        throw std::runtime_error("no memory for what is found");
    return new (memory) SharedFinding{};
}

std::string signal_name(int number) {
    const char *name = sigabbrev_np(number);
    return fmt::format("signal {} ({}{})", number, name == nullptr ? "" : "SIG", name == nullptr ? "unknown" : name);
}

}  // namespace

HistoryProcess::HistoryProcess(PluginCaller &caller, const std::string &base, const std::string &own_name,
                               std::string array_name, std::chrono::milliseconds time_limit, PluginCaller *other)
    : caller_(caller),
      other_(other),
      mirror_(base, own_name, std::move(array_name)),
      time_limit_(time_limit),
      finding_(shared_finding()),
      output_(unnamed_file("standard output")),
      errors_(unnamed_file("standard error")) {
    mirror_.set_tables(caller.first_table(), caller.second_table());
    if (chdir(mirror_.places().work.c_str()) != 0)
        throw std::runtime_error(fmt::format("cannot work in {}: {}", mirror_.places().work, std::strerror(errno)));
    set_config_directory(mirror_.configuration_directory());
    process_.emplace();
}

HistoryProcess::~HistoryProcess() {
    munmap(finding_, sizeof *finding_);
    close(output_);
    close(errors_);
    mirror_.clear();
}

bool HistoryProcess::wait_for(int process) {
    // By number: the C library of Debian 12 declares the wrapper for C only.
    const int end = static_cast<int>(syscall(SYS_pidfd_open, process, 0));
    if (end < 0)
        throw std::runtime_error(fmt::format("cannot watch a process: {}", std::strerror(errno)));
    pollfd descriptor{end, POLLIN, 0};
    ProcessTime time(process);
    bool ended = false;
    do {
        ended = poll(&descriptor, 1, milliseconds_between_looks) == 1;
    } while (!ended && time.spent() < time_limit_);
    close(end);
    // Its group outlives it when a child of the plug-in still runs.
    kill(-process, SIGKILL);
    return ended;
}

HistoryFinding HistoryProcess::finding_of(int process, bool ended_in_time) {
    int status = 0;
    while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    HistoryFinding finding = finding_in(*finding_);
    if (finding.kind == HistoryFinding::differs)
        return finding;
    if (!ended_in_time) {
        finding.kind = HistoryFinding::hang;
        finding.got = fmt::format("no end within {} ms", time_limit_.count());
    } else if (finding_->finished != 1 || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        finding.kind = HistoryFinding::crash;
        finding.got = WIFSIGNALED(status) ? "ended by " + signal_name(WTERMSIG(status))
                                          : fmt::format("ended with exit status {}", WEXITSTATUS(status));
        if (const std::string errors = contents(errors_); !errors.empty())
            finding.got += "\n" + errors;
    }
    return finding;
}

HistoryFinding HistoryProcess::play(const History &history, bool watch_memory) {
    return play(history, watch_memory, [] { return nullptr; });
}

HistoryFinding HistoryProcess::play(const History &history, bool watch_memory,
                                    const std::function<std::unique_ptr<CallListener>()> &make_listener) {
    HistoryFinding finding = play_in_child(history, watch_memory, make_listener, caller_, other_);
    return other_ == nullptr ? finding : unlike_the_other(history, std::move(finding));
}

// A plug-in that does not come to the end differs from one that does.
HistoryFinding HistoryProcess::unlike_the_other(const History &history, HistoryFinding finding) {
    if (finding.kind != HistoryFinding::crash && finding.kind != HistoryFinding::hang)
        return finding;
    if (finding_->phase == second_plays)
        return finding;
    const HistoryFinding others = play_in_child(
        history, false, [] { return nullptr; }, *other_, &caller_);
    const bool is_same = others.kind == finding.kind && others.what == finding.what && finding_->phase == first_plays;
    if (is_same)
        return {};
    finding.expected = std::exchange(finding.got, "a return");
    return finding;
}

HistoryFinding HistoryProcess::play_in_child(const History &history, bool watch_memory,
                                             const std::function<std::unique_ptr<CallListener>()> &make_listener,
                                             PluginCaller &caller, PluginCaller *other) {
    new (finding_) SharedFinding{};
    empty(output_);
    empty(errors_);
    const History real = expanded(history, mirror_.places());
    const pid_t parent = getpid();
    const pid_t process = fork();
    if (process < 0)
        throw std::runtime_error(fmt::format("cannot start a process: {}", std::strerror(errno)));
    if (process == 0) {
        setpgid(0, 0);
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        prctl(PR_SET_CHILD_SUBREAPER, 1);
        if (getppid() != parent)
            _exit(1);
        redirect_output(output_, errors_);
        int status = 1;
        try {
            const std::unique_ptr<CallListener> listener = make_listener();
            caller.set_listener(listener.get());
            Player player(caller, mirror_, *process_, *finding_);
            if (other == nullptr)
                player.play(real, watch_memory);
            else
                player.play_against(real, *other);
            status = 0;
        } catch (const std::exception &error) {
            dprintf(errors_, "an exception passed out: %s\n", error.what());
        } catch (...) {
            dprintf(errors_, "an exception passed out\n");
        }
        _exit(status);
    }
    setpgid(process, process);
    HistoryFinding finding = finding_of(process, wait_for(process));
    if (finding.kind == HistoryFinding::crash || finding.kind == HistoryFinding::hang) {
        // Named by the call that ran.
        const auto index = static_cast<size_t>(finding.call);
        if (index >= history.calls.size())
            finding.what = "at the end";
        else if (history.calls[index].thread != 0)
            finding.what = HistoryFinding::one_of_several;
        else
            finding.what = model::entry_point_name(history.calls[index]);
        finding.expected = "a return";
    }
    mirror_.clear();
    return finding;
}

Expectations HistoryProcess::expectations(const History &history) {
    const Places &places = mirror_.places();
    const History real = expanded(history, places);
    mirror_.clear();
    model::Model model(mirror_, configuration_of(real));
    Expectations all;
    all.reserve(real.calls.size());
    for (const model::Call &call : real.calls) {
        auto &one = all.emplace_back();
        if (!model.allows(call))
            continue;
        one = model.answer(call);
        for (model::Message &message : one->messages)
            message.text = collapsed(message.text, places);
        for (model::LibraryCall &library : one->library) {
            library.lsu_text = collapsed(library.lsu_text, places);
            library.server_name = collapsed(library.server_name, places);
        }
        one->output = collapsed(one->output, places);
    }
    mirror_.clear();
    return all;
}

std::string array_name_of(PluginCaller &caller, const std::string &base) {
    utsname machine{};
    uname(&machine);
    const std::string node_name = machine.nodename;
    Mirror mirror(base, "probe", "");
    const std::string path = mirror.configuration_directory() + "/Kelvarpool.sim";
    if (FILE *file = std::fopen(path.c_str(), "w"); file != nullptr) {
        std::fputs("ENCLOSURE = a;\n", file);
        std::fclose(file);
    }
    set_config_directory(mirror.configuration_directory());
    SharedFinding *told = shared_finding();
    const pid_t process = fork();
    if (process == 0) {
        alarm(10);
        model::Call open;
        open.operation = model::Operation::open_server;
        open.id = 1;
        open.name = "Kelvarpool:a";
        model::Call ask;
        ask.operation = model::Operation::get_server_prop;
        ask.handle = 1;
        if (caller.make(open, 0).status == 0)
            std::memcpy(told->got, caller.make(ask, 0).record.c_str(), STS_SERVER_NAME_SIZE - 1);
        _exit(0);
    }
    while (process > 0 && waitpid(process, nullptr, 0) < 0 && errno == EINTR) {
    }
    const std::string asked = told->got;
    munmap(told, sizeof *told);
    mirror.clear();
    return asked.size() > node_name.size() + 1 && model::starts_with(asked, node_name + ".")
               ? asked
               : node_name + ".quillmere.local";
}

}  // namespace conformance
