// One stream: a thread that performs operations, one after the other, as the workload draws them.
#pragma once

#include "simhost/load/image_operations.h"
#include "simhost/load/stream_calls.h"

class Stream {
public:
    Stream(const StreamSurroundings &surroundings, unsigned number);

    // Performs operations until the run stops or the stream has done its part. Nothing is thrown.
    void run() noexcept;

    // Instead: reads everything the ledger says is there, whole, and complains of what is wrong; then takes it away unless it
    // is to be kept. Nothing is thrown.
    void verify_all(bool keep) noexcept;

private:
    void work();
    void verification();
    // Performs work, and complains of what it throws.
    void guarded(void (Stream::*task)()) noexcept;
    void settle_all();
    bool goes_on();
    bool keeps(uint64_t image);
    // Waits until operation number is to begin; the time that its latency counts from.
    uint64_t await_begin(uint64_t number);
    void perform(Operation operation, Draw &draw, uint64_t own, uint64_t any, uint64_t size);
    void mount();

    StreamCalls m_calls;
    ImageOperations m_images;
    unsigned m_weights;
    bool m_keep = false;
};
