// A stream's server and its calls: opening and closing, and what becomes of a status.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "simhost/load/load_target.h"
#include "simhost/load/measured_calls.h"

// What the streams of a process have in common.
struct StreamSurroundings {
    RunState &run;
    const LoadTarget &target;
    const EntryPoints &entry;
    const sts_session_def_v7_t *session;
    const PluginLibrary &library;
    std::mutex &opening;  // disk arrays are never opened by two threads at once
};

class StreamCalls {
public:
    StreamCalls(const StreamSurroundings &surroundings, unsigned stream);
    // Closes the server.
    ~StreamCalls();
    StreamCalls(const StreamCalls &) = delete;
    StreamCalls &operator=(const StreamCalls &) = delete;

    RunState &run() { return m_surroundings.run; }
    Ledger &ledger() { return m_surroundings.run.ledger(); }
    StreamState &state() { return m_surroundings.run.stream(m_calls.stream()); }
    const Workload &workload() const { return m_surroundings.run.workload(); }
    MeasuredCalls &calls() { return m_calls; }
    const EntryPoints &entry() const { return m_calls.entry(); }
    unsigned stream() const { return m_calls.stream(); }
    const LoadPlace &place() const { return m_surroundings.target.place_of(m_calls.stream()); }
    const LoadTarget &target() const { return m_surroundings.target; }

    // Opens the server if it is not open. False when it was refused.
    bool open();
    void close();
    // Names the stream's LSU on the open server.
    const stsp_lsu_v7_t *lsu() const { return &m_lsu; }
    // Lists what the server's hosts may use, which must be what it was before the load.
    void list_lsus();

    // A call failed: counts it, and unless its status is expected, complains.
    void failed(LoadedCall call, int32_t status, uint64_t image = no_image);
    // The same of a close that was to make an image, or of a deletion. That its outcome is unknown is no refusal: a network can
    // leave no more to say, and what came of it is settled afterwards.
    void change_failed(LoadedCall call, int32_t status, uint64_t image);
    void opened_handle() { state().handles.fetch_add(1, std::memory_order_relaxed); }
    void closed_handle() { state().handles.fetch_sub(1, std::memory_order_relaxed); }
    void broken(PromiseKind kind, uint64_t image, const std::string &what);

private:
    void judge_lsus(const std::vector<std::string> &given);

    StreamSurroundings m_surroundings;
    MeasuredCalls m_calls;
    sts_server_handle_t m_server = nullptr;
    stsp_lsu_v7_t m_lsu = {};
};
