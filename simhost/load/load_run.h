// A run of a load: starts its processes, watches, kills and replaces them, and lets everything be verified afterwards.
#pragma once

#include <sys/types.h>

#include <functional>
#include <optional>
#include <vector>

#include "simhost/load/load_outcome.h"
#include "simhost/load/load_target.h"
#include "simhost/load/process_use.h"
#include "simhost/load/run_state.h"
#include "simhost/load/worker.h"

struct LoadOptions {
    bool keep = false;           // leave the images
    bool stop_at_first = false;  // end with the first broken promise
};

class LoadRun {
public:
    LoadRun(RunState &run, const LoadTarget &target, const LoadOptions &options);
    // Kills what is left of the processes.
    ~LoadRun();
    LoadRun(const LoadRun &) = delete;
    LoadRun &operator=(const LoadRun &) = delete;

    // watch is told twice a second how it stands; during the verification the counts of operations stand still. Returns when
    // all is verified.
    LoadOutcome perform(const std::function<void(const TimePoint &)> &watch);

private:
    struct Process {
        pid_t pid = 0;
        uint64_t samples = 0;
        bool killed = false;
        std::optional<ProcessUse> least;  // since the last point
    };

    void start(unsigned number, WorkerTask task);
    // Ends "": go on. Otherwise why not.
    std::string reason_to_stop();
    void look_for_hangs();
    void collect(bool loading);
    void take_end(Process &process, unsigned number, int status, bool loading);
    void kill_one();
    // How it stands now. latencies: those of the last such point, renewed.
    TimePoint point_of_now(LatencySummary &latencies) const;
    void take_samples();
    void take_point();
    void take_histories();
    void show();
    void stop_all();
    void verify();
    double elapsed() const;
    bool any_alive() const;

    RunState &m_run;
    const LoadTarget &m_target;
    LoadOptions m_options;
    LoadOutcome m_outcome;
    std::vector<Process> m_processes;  // the last one verifies
    std::function<void(const TimePoint &)> m_watch;
    LatencySummary m_latencies;  // of the last point
    LatencySummary m_shown;      // of what was last shown
    double m_next_kill = 0;
    double m_next_point = 0;
    double m_next_show = 0;
    double m_point_interval;
    bool m_hung = false;
    bool m_verifying = false;
};
