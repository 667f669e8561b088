// A run of a load: starts its processes, watches, kills and replaces them, and lets everything be verified afterwards.
#pragma once

#include <sys/types.h>

#include <functional>
#include <vector>

#include "simhost/load/load_outcome.h"
#include "simhost/load/load_target.h"
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

    // watch is told each new point of time. Returns when all is verified.
    LoadOutcome perform(const std::function<void(const TimePoint &)> &watch);

private:
    struct Process {
        pid_t pid = 0;
        uint64_t samples = 0;
        bool replaced = false;
        bool killed = false;
    };

    void start(unsigned number, WorkerTask task);
    // Ends "": go on. Otherwise why not.
    std::string reason_to_stop();
    void look_for_hangs();
    void collect(bool loading);
    void take_end(Process &process, unsigned number, int status, bool loading);
    void kill_one();
    void take_point(const std::function<void(const TimePoint &)> &watch);
    void take_histories();
    void stop_all();
    void verify();
    double elapsed() const;
    bool any_alive() const;

    RunState &m_run;
    const LoadTarget &m_target;
    LoadOptions m_options;
    LoadOutcome m_outcome;
    std::vector<Process> m_processes;  // the last one verifies
    LatencySummary m_latencies;        // of the last point
    double m_next_kill = 0;
    double m_next_point = 0;
    double m_point_interval;
    bool m_hung = false;
    bool m_verifying = false;
};
