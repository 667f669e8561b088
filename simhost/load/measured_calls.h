// Calls of one stream: each is announced to whoever watches, timed and counted.
#pragma once

#include <utility>

#include "simhost/host/entry_points.h"
#include "simhost/load/run_state.h"

class MeasuredCalls {
public:
    MeasuredCalls(RunState &run, unsigned stream, const EntryPoints &entry)
        : m_run(run), m_stream(stream), m_state(run.stream(stream)), m_entry(entry) {
        for (size_t i = 0; i < loaded_calls; ++i)
            m_times[i] = &run.call_times(stream, static_cast<LoadedCall>(i));
    }

    const EntryPoints &entry() const { return m_entry; }
    unsigned stream() const { return m_stream; }

    // Calls function(), which makes the call and returns its status. What it throws passes through; the call then still counts
    // as running, which tells where it was.
    template <class Function>
    int32_t call(LoadedCall call, uint64_t image, uint64_t offset, uint64_t length, Function &&function) {
        RunningCall &running = m_state.running;
        running.call.store(call, std::memory_order_relaxed);
        running.image.store(image, std::memory_order_relaxed);
        running.offset.store(offset, std::memory_order_relaxed);
        running.length.store(length, std::memory_order_relaxed);
        const uint64_t start = now_ns();
        running.started_ns.store(start, std::memory_order_release);
        const int32_t status = std::forward<Function>(function)();
        running.started_ns.store(0, std::memory_order_release);
        if (m_run.verifying().load(std::memory_order_relaxed))
            return status;
        m_times[static_cast<size_t>(call)]->add(now_ns() - start);
        if (status != 0)
            m_run.count_status(m_stream, call, status);
        return status;
    }

    template <class Function>
    int32_t call(LoadedCall call, Function &&function) {
        return this->call(call, no_image, 0, 0, std::forward<Function>(function));
    }

private:
    RunState &m_run;
    unsigned m_stream;
    StreamState &m_state;
    const EntryPoints &m_entry;
    LatencyHistogram *m_times[loaded_calls] = {};
};
