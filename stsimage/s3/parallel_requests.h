// Requests that run side by side, a bounded number at a time.
#pragma once

#include <cerrno>
#include <cstddef>
#include <deque>
#include <exception>
#include <future>

#include "stsimage/call_patience.h"
#include "stsimage/s3/answer.h"
#include "stsimage/s3/background.h"

namespace stsimage::s3 {

// For one thread.
class ParallelRequests {
public:
    ParallelRequests() = default;
    ParallelRequests(const ParallelRequests &) = delete;
    ParallelRequests &operator=(const ParallelRequests &) = delete;
    ~ParallelRequests() { finish(); }

    // Starts one, waiting for earlier ones to make room; none any more once one was not answered in its time. Gives what failure()
    // gives.
    template <class Work>
    const Answer &start(Work work) {
        while (running.size() >= most_at_once)
            await_oldest();
        if (is_silent)
            return first_failure;
        running.push_back(start_in_background(std::move(work)));
        return first_failure;
    }

    // Waits for all.
    const Answer &finish() {
        while (!running.empty())
            await_oldest();
        return first_failure;
    }

    // The first answer that told of a failure, if any has come yet.
    const Answer &failure() const { return first_failure; }

    // Whether one was not answered in its time.
    bool is_unanswered() const { return is_silent; }

    static constexpr size_t most_at_once = 6;

private:
    void await_oldest() {
        std::future<Answer> oldest = std::move(running.front());
        running.pop_front();
        Answer answer;
        try {
            answer = oldest.get();
        } catch (const std::exception &) {  // there was no memory for it, say
            answer.error = ENOMEM;
        }
        if (answer.waited_in_vain.count() > 0) {
            note_time_out(answer.waited_in_vain);
            is_silent = true;
        }
        if (!answer.ok() && first_failure.ok())
            first_failure = std::move(answer);
    }

    std::deque<std::future<Answer>> running;
    Answer first_failure;
    bool is_silent = false;
};

}  // namespace stsimage::s3
