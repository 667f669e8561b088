// The state of a run that all its processes share: what each stream does and has done, what was found, what promises stand.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "simhost/load/broken_promise.h"
#include "simhost/load/latency_histogram.h"
#include "simhost/load/ledger.h"
#include "simhost/load/loaded_call.h"
#include "simhost/load/shared_arena.h"
#include "simhost/load/workload.h"
#include "stspi/sts_types.h"

constexpr uint64_t no_image = UINT64_MAX;

// Nanoseconds of the monotonic clock.
uint64_t now_ns();

// The call that a stream is in, for whoever asks why it takes so long.
struct RunningCall {
    std::atomic<uint64_t> started_ns{0};  // 0: in no call
    std::atomic<LoadedCall> call{LoadedCall::count};
    std::atomic<uint64_t> image{no_image};
    std::atomic<uint64_t> offset{0};
    std::atomic<uint64_t> length{0};
};

struct StatusCount {
    std::atomic<uint64_t> key{0};  // call and status, see RunState
    std::atomic<uint64_t> count{0};
};

struct StreamState {
    RunningCall running;
    std::atomic<uint64_t> next_operation{0};
    std::atomic<uint64_t> generation{0};  // the latest that was used
    std::atomic<uint64_t> digest{0};      // of the operations that were drawn
    std::atomic<uint64_t> bytes_written{0};
    std::atomic<uint64_t> bytes_read{0};
    std::atomic<uint64_t> failures{0};  // statuses other than 0 that were not asked for
    std::atomic<int64_t> handles{0};    // open ones
    std::atomic<uint64_t> unjudged{0};  // reads of images that changed meanwhile, too often to tell what they must hold
    std::array<StatusCount, 64> statuses;
};

// What a process uses, as it tells itself.
struct ProcessState {
    std::atomic<int32_t> pid{0};
    std::atomic<uint64_t> samples{0};
    std::atomic<uint64_t> resident_bytes{0};
    std::atomic<uint64_t> heap_bytes{0};
    std::atomic<uint64_t> descriptors{0};
    std::atomic<uint64_t> threads{0};
};

// What was unknown when a process died or a call failed, and turned out.
struct UnknownCounts {
    std::atomic<uint64_t> told{0};  // calls that answered that it is unknown whether they were done
    std::atomic<uint64_t> total{0};
    std::atomic<uint64_t> new_content{0};
    std::atomic<uint64_t> old_content{0};
    std::atomic<uint64_t> nothing{0};
};

struct LoadFinding {
    std::atomic<bool> ready{false};
    PromiseKind kind = PromiseKind::count;
    uint64_t at_ns = 0;  // since the run's begin
    char text[700] = {};
};

// Where a run's images lie.
struct LoadPlace {
    std::string lsu;
    std::string volume;           // to mount; empty: none
    std::string mount_target;     // where a mount's link led
    sts_lsu_info_v9_t info = {};  // as it was told before the load
};

class RunState {
public:
    explicit RunState(const Workload &workload);

    const Workload &workload() const { return m_workload; }
    Ledger &ledger() { return m_ledger; }
    StreamState &stream(unsigned number) { return m_streams[number]; }
    ProcessState &process(unsigned number) { return m_processes[number]; }
    UnknownCounts &unknown() { return *m_unknown; }
    LatencyHistogram &call_times(unsigned stream, LoadedCall call);
    LatencyHistogram &operation_times(unsigned stream, Operation operation);
    // Of all streams.
    LatencySummary call_summary(LoadedCall call) const;
    LatencySummary operation_summary(Operation operation) const;
    LatencySummary all_operations() const;

    // The images of a stream are those from first_image on, as many as the workload says.
    uint64_t first_image(unsigned stream) const { return uint64_t{stream} * m_workload.images; }

    std::atomic<bool> &stop() { return m_control->stop; }
    // Set while everything is verified: calls are not measured then.
    std::atomic<bool> &verifying() { return m_control->verifying; }
    // Set when the verification is to come to an end: what is not read yet is only taken away.
    std::atomic<bool> &abandoned() { return m_control->abandoned; }
    // Nanoseconds of the monotonic clock at the run's begin.
    std::atomic<uint64_t> &start_ns() { return m_control->start_ns; }

    void count_status(unsigned stream, LoadedCall call, int32_t status);
    struct StatusTotal {
        LoadedCall call;
        int32_t status;
        uint64_t count;
    };
    std::vector<StatusTotal> status_totals() const;

    // Any number may be found; the first hundred are kept with their words.
    void found(PromiseKind kind, const std::string &text);
    std::vector<const LoadFinding *> findings() const;
    uint64_t found_count(PromiseKind kind) const { return m_control->found[static_cast<size_t>(kind)]; }
    uint64_t found_total() const;

    // A stream's call in words, "stspi_write_image of load-1-0000003, 1048576 bytes at 0"; empty when it is in none.
    std::string running_text(unsigned stream);

private:
    struct Control {
        std::atomic<bool> stop{false};
        std::atomic<bool> verifying{false};
        std::atomic<bool> abandoned{false};
        std::atomic<uint64_t> start_ns{0};
        std::atomic<uint64_t> found[promise_kinds] = {};
        std::atomic<uint64_t> texts{0};
    };

    Workload m_workload;
    SharedArena m_arena;
    Ledger m_ledger;
    Control *m_control;
    LoadFinding *m_findings;
    StreamState *m_streams;
    ProcessState *m_processes;
    UnknownCounts *m_unknown;
    std::vector<LatencyHistogram> m_histograms;  // a set for some streams each: calls, then operations
    unsigned m_sets;
};
