#include "simhost/load/load_run.h"

#include <fmt/format.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <system_error>
#include <thread>
#include <utility>

#include "simhost/host/interrupt.h"
#include "simhost/load/draw.h"
#include "simhost/load/worker.h"

namespace {

constexpr std::chrono::milliseconds watch_interval(20);
constexpr double show_seconds = 0.5;
constexpr double points_of_a_run = 600;
// A run without a duration may go on for long: then every second point goes.
constexpr size_t most_points = 1200;

double processor_seconds_of_children() {
    rusage use = {};
    getrusage(RUSAGE_CHILDREN, &use);
    const auto seconds = [](const timeval &time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(use.ru_utime) + seconds(use.ru_stime);
}

}  // namespace

LoadRun::LoadRun(RunState &run, const LoadTarget &target, const LoadOptions &options)
    : m_run(run),
      m_target(target),
      m_options(options),
      m_processes(run.workload().processes + 1),
      m_point_interval(std::max(0.1, run.workload().duration_seconds / points_of_a_run)) {
    m_outcome.histories.resize(run.workload().processes);
}

LoadRun::~LoadRun() {
    for (const Process &process : m_processes)
        if (process.pid > 0) {
            kill(process.pid, SIGKILL);
            waitpid(process.pid, nullptr, 0);
        }
}

double LoadRun::elapsed() const { return static_cast<double>(now_ns() - m_run.start_ns()) / 1e9; }

bool LoadRun::any_alive() const {
    return std::any_of(m_processes.begin(), m_processes.end(), [](const Process &process) { return process.pid > 0; });
}

void LoadRun::start(unsigned number, WorkerTask task) {
    // What stands in a buffer would be written by both.
    std::fflush(nullptr);
    const pid_t pid = fork();
    if (pid < 0)
        throw std::system_error(errno, std::generic_category(), "cannot make a process");
    if (pid == 0)
        work_as_process(m_run, m_target, number, task);
    m_processes[number].pid = pid;
    m_processes[number].killed = false;
    m_run.process(number).pid = pid;
}

std::string LoadRun::reason_to_stop() {
    const Workload &workload = m_run.workload();
    if (noted_interrupt() != 0)
        return "interrupt";
    if (m_hung)
        return "hang";
    if (m_outcome.deaths > 0 && !workload.deaths_expected)
        return "death";
    if (m_options.stop_at_first && m_run.found_total() > 0)
        return "broken promise";
    if (workload.duration_seconds > 0 && elapsed() >= workload.duration_seconds)
        return "duration";
    if (workload.bytes > 0) {
        uint64_t moved = 0;
        for (unsigned stream = 0; stream < workload.total_streams(); ++stream)
            moved += m_run.stream(stream).bytes_written + m_run.stream(stream).bytes_read;
        if (moved >= workload.bytes)
            return "bytes";
    }
    return any_alive() ? "" : "operations";
}

void LoadRun::look_for_hangs() {
    const Workload &workload = m_run.workload();
    const auto limit_ns = static_cast<uint64_t>(workload.hang_seconds * 1e9);
    for (unsigned stream = 0; stream < workload.total_streams(); ++stream) {
        const uint64_t started = m_run.stream(stream).running.started_ns;
        const uint64_t now = now_ns();
        const unsigned number = m_verifying ? workload.processes : stream / workload.streams;
        if (started == 0 || now < started + limit_ns || m_processes[number].pid <= 0)
            continue;
        m_run.found(PromiseKind::hang, fmt::format("{} has not come back after {:.1f} s (stream {}, operation {})",
                                                   m_run.running_text(stream), static_cast<double>(now - started) / 1e9,
                                                   stream, m_run.stream(stream).next_operation.load()));
        m_hung = true;
        // Its streams will not come back either.
        m_run.stream(stream).running.started_ns = 0;
        if (!m_processes[number].killed) {
            m_processes[number].killed = true;
            kill(m_processes[number].pid, SIGKILL);
        }
    }
}

void LoadRun::take_end(Process &process, unsigned number, int status, bool loading) {
    process.pid = 0;
    const bool in_order = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    if (!in_order && !process.killed) {
        ++m_outcome.deaths;
        std::string calls;
        const unsigned first = m_verifying ? 0 : number * m_run.workload().streams;
        const unsigned count = m_verifying ? m_run.workload().total_streams() : m_run.workload().streams;
        for (unsigned stream = first; stream < first + count; ++stream)
            if (const std::string text = m_run.running_text(stream); !text.empty() && calls.size() < 300)
                calls += fmt::format("{}{}", calls.empty() ? "" : "; ", text);
        if (!m_run.workload().deaths_expected)
            m_run.found(PromiseKind::death,
                        fmt::format("a process ended with {} in {}",
                                    WIFSIGNALED(status)
                                        ? fmt::format("signal {} ({})", WTERMSIG(status), strsignal(WTERMSIG(status)))
                                        : fmt::format("status {}", WEXITSTATUS(status)),
                                    calls.empty() ? "no call" : calls));
    }
    if (in_order || m_verifying)
        return;
    const unsigned first = number * m_run.workload().streams;
    for (unsigned stream = first; stream < first + m_run.workload().streams; ++stream) {
        m_run.stream(stream).running.started_ns = 0;
        m_run.stream(stream).handles = 0;
        // The operation that was under way is not begun again.
        m_run.stream(stream).next_operation.fetch_add(1);
    }
    if (loading && !m_hung && (process.killed || m_run.workload().deaths_expected))
        start(number, WorkerTask::load);
}

void LoadRun::collect(bool loading) {
    for (unsigned number = 0; number < m_processes.size(); ++number) {
        Process &process = m_processes[number];
        int status = 0;
        if (process.pid > 0 && waitpid(process.pid, &status, WNOHANG) == process.pid)
            take_end(process, number, status, loading);
    }
}

void LoadRun::kill_one() {
    const double interval = m_run.workload().kill_every_seconds;
    if (interval <= 0 || elapsed() < m_next_kill)
        return;
    m_next_kill = elapsed() + interval;
    Draw draw(m_run.workload().seed, 0, m_outcome.kills + 1);
    Process &victim = m_processes[draw.below(m_run.workload().processes)];
    if (victim.pid <= 0 || victim.killed)
        return;
    victim.killed = true;
    kill(victim.pid, SIGKILL);
    ++m_outcome.kills;
}

void LoadRun::take_samples() {
    for (unsigned number = 0; number < m_run.workload().processes; ++number) {
        const ProcessState &state = m_run.process(number);
        Process &process = m_processes[number];
        if (process.pid <= 0 || state.samples == process.samples)
            continue;
        process.samples = state.samples;
        const ProcessUse use = {state.resident_bytes, state.heap_bytes, state.descriptors, state.threads};
        process.least = process.least ? least_of(*process.least, use) : use;
    }
}

void LoadRun::take_histories() {
    const double now = elapsed();
    for (unsigned number = 0; number < m_run.workload().processes; ++number) {
        const std::optional<ProcessUse> use = std::exchange(m_processes[number].least, std::nullopt);
        if (!use)
            continue;
        ProcessHistory &history = m_outcome.histories[number];
        history.descriptors.push_back({now, static_cast<double>(use->descriptors)});
        history.threads.push_back({now, static_cast<double>(use->threads)});
        history.heap_bytes.push_back({now, static_cast<double>(use->heap_bytes)});
        history.resident_bytes.push_back({now, static_cast<double>(use->resident_bytes)});
    }
}

TimePoint LoadRun::point_of_now(LatencySummary &latencies) const {
    TimePoint point;
    point.seconds = elapsed();
    LatencySummary now = m_run.all_operations();
    point.operations = now.count;
    point.p99_ns = now.since(latencies).at(0.99);
    latencies = std::move(now);
    for (unsigned stream = 0; stream < m_run.workload().total_streams(); ++stream) {
        const StreamState &state = m_run.stream(stream);
        point.bytes_written += state.bytes_written;
        point.bytes_read += state.bytes_read;
        point.failures += state.failures;
        point.handles += state.handles;
    }
    for (unsigned number = 0; number < m_processes.size(); ++number) {
        const ProcessState &state = m_run.process(number);
        if (m_processes[number].pid <= 0)
            continue;
        point.descriptors += state.descriptors;
        point.resident_bytes += state.resident_bytes;
        point.heap_bytes += state.heap_bytes;
        point.threads += state.threads;
    }
    return point;
}

void LoadRun::take_point() {
    take_samples();
    if (elapsed() < m_next_point)
        return;
    m_next_point = elapsed() + m_point_interval;
    take_histories();
    TimePoint point = point_of_now(m_latencies);
    if (!any_alive() && !m_outcome.points.empty()) {
        // After the end nothing is in use any more, which would look like a fall.
        const TimePoint &last = m_outcome.points.back();
        point.handles = last.handles;
        point.descriptors = last.descriptors;
        point.resident_bytes = last.resident_bytes;
        point.heap_bytes = last.heap_bytes;
        point.threads = last.threads;
    }
    m_outcome.points.push_back(point);
    if (m_outcome.points.size() > most_points) {
        m_outcome.halve();
        m_point_interval *= 2;
    }
}

void LoadRun::show() {
    if (elapsed() < m_next_show)
        return;
    m_next_show = elapsed() + show_seconds;
    m_watch(point_of_now(m_shown));
}

void LoadRun::stop_all() {
    m_run.stop() = true;
    // Each stream ends the operation that it is in; the watchdog sees to calls that do not come back.
    while (any_alive()) {
        std::this_thread::sleep_for(watch_interval);
        collect(false);
        look_for_hangs();
        show();
        if (m_verifying && m_outcome.signal == 0 && noted_interrupt() != 0) {
            m_outcome.signal = noted_interrupt();
            m_run.abandoned() = true;
        }
    }
}

void LoadRun::verify() {
    m_verifying = true;
    m_run.verifying() = true;
    m_hung = false;
    start(m_run.workload().processes, m_options.keep ? WorkerTask::verify_and_keep : WorkerTask::verify);
    stop_all();
    m_outcome.verified = !m_hung && !m_run.abandoned();
}

LoadOutcome LoadRun::perform(const std::function<void(const TimePoint &)> &watch) {
    m_watch = watch;
    m_run.start_ns() = now_ns();
    m_next_kill = m_run.workload().kill_every_seconds;
    for (unsigned number = 0; number < m_run.workload().processes; ++number)
        start(number, WorkerTask::load);
    while ((m_outcome.ended_by = reason_to_stop()).empty()) {
        std::this_thread::sleep_for(watch_interval);
        collect(true);
        look_for_hangs();
        kill_one();
        take_point();
        show();
    }
    m_outcome.seconds = elapsed();
    m_outcome.signal = noted_interrupt();
    stop_all();
    m_next_point = 0;
    take_point();
    m_outcome.processor_seconds = processor_seconds_of_children();
    verify();
    return m_outcome;
}
