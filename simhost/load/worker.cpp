#include "simhost/load/worker.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <exception>
#include <initializer_list>
#include <mutex>
#include <thread>
#include <vector>

#include "simhost/host/plugin_library.h"
#include "simhost/load/process_use.h"
#include "simhost/load/stream.h"

namespace {

constexpr uint64_t api_version = 9;
constexpr unsigned verifying_threads = 4;
constexpr std::chrono::milliseconds sample_interval(100);

// Ctrl-C is for the process that watches; it asks this one to stop.
void leave_signals_to_parent() {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        std::signal(signal, SIG_IGN);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    // A crash is a finding, not something to keep a core dump of.
    const rlimit no_core = {0, 0};
    setrlimit(RLIMIT_CORE, &no_core);
    // What a plug-in prints would fill memory in the long run.
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (nowhere >= 0) {
        dup2(nowhere, STDOUT_FILENO);
        close(nowhere);
    }
}

// The session that streams hand over. Errors are told by statuses; messages are for other commands.
void ignore_message(uint64_t /*context*/, const char * /*message*/, int32_t /*level*/) {}

void sample(ProcessState &state) {
    const ProcessUse use = process_use();
    state.resident_bytes = use.resident_bytes;
    state.heap_bytes = use.heap_bytes;
    state.descriptors = use.descriptors;
    state.threads = use.threads;
    state.samples.fetch_add(1);
}

// Threads, and a note when all of them are done.
class StreamThreads {
public:
    template <class Function>
    void start(Function &&function) {
        m_threads.emplace_back([this, function] {
            function();
            const std::lock_guard<std::mutex> alone(m_mutex);
            ++m_done;
            m_changed.notify_all();
        });
    }

    // Samples what the process uses until all are done.
    void await_all(ProcessState &state) {
        std::unique_lock<std::mutex> lock(m_mutex);
        while (m_done < m_threads.size()) {
            lock.unlock();
            sample(state);
            lock.lock();
            m_changed.wait_for(lock, sample_interval, [this] { return m_done == m_threads.size(); });
        }
        lock.unlock();
        for (std::thread &thread : m_threads)
            thread.join();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    size_t m_done = 0;
    std::vector<std::thread> m_threads;
};

void run_streams(const StreamSurroundings &surroundings, unsigned number, WorkerTask task) {
    const Workload &workload = surroundings.run.workload();
    StreamThreads threads;
    if (task == WorkerTask::load) {
        for (unsigned i = 0; i < workload.streams; ++i)
            threads.start(
                [&surroundings, stream = number * workload.streams + i] { Stream(surroundings, stream).run(); });
        threads.await_all(surroundings.run.process(number));
        return;
    }
    for (unsigned first = 0; first < verifying_threads; ++first)
        threads.start([&surroundings, &workload, first, task] {
            for (unsigned stream = first; stream < workload.total_streams(); stream += verifying_threads)
                Stream(surroundings, stream).verify_all(task == WorkerTask::verify_and_keep);
        });
    threads.await_all(surroundings.run.process(workload.processes));
}

void work(RunState &run, const LoadTarget &target, unsigned number, WorkerTask task) {
    // Afterwards everything is read without the faults that a filter makes.
    const bool filtered = task == WorkerTask::load && target.is_filtered();
    const PluginLibrary library(target.plain_plugin, target.image_library, filtered ? target.plugin : "");
    sts_registration_t registration = {};
    sts_registration2_t registration2 = {};
    int32_t status = library.init(api_version, nullptr, &registration);
    if (status == 0)
        status = library.init2(api_version, &registration2);
    if (status != 0) {
        run.found(PromiseKind::refusal, fmt::format("a process cannot register: status {}", status));
        return;
    }
    const EntryPoints entry = bind_entry_points(registration.entry_points, registration2.entry_points);
    sts_session_def_v7_t session = {};
    session.log_function = ignore_message;
    session.log_mask = STS_LOG_MASK_ERROR;
    std::mutex opening;
    run_streams({run, target, entry, &session, library, opening}, number, task);
    entry.terminate();
}

}  // namespace

void work_as_process(RunState &run, const LoadTarget &target, unsigned number, WorkerTask task) {
    leave_signals_to_parent();
    try {
        work(run, target, number, task);
    } catch (const std::exception &failure) {
        run.found(PromiseKind::refusal, fmt::format("a process cannot work: {}", failure.what()));
    }
    // What the parent process has to end with is not this one's.
    _exit(0);
}
