// Operations that run side by side, a bounded number at a time.
#pragma once

#include <cerrno>
#include <cstddef>
#include <deque>
#include <utility>

#include "stsimage/rados/completion.h"
#include "stsimage/rados/pool.h"

namespace stsimage {

// For one thread. Operations on one object are done in the order in which they were started.
class Transfers {
public:
    explicit Transfers(Pool &own_pool) : pool(own_pool) {}
    Transfers(const Transfers &) = delete;
    Transfers &operator=(const Transfers &) = delete;
    ~Transfers() { finish(); }

    // Starts one, waiting for earlier ones to make room; none any more once one was not answered in its time. Gives 0 or what the
    // first that failed gave; that an object is not there counts as no failure. operation(io, completion) gives what librados gave.
    template <class Operation>
    int start(Operation operation) {
        while (running.size() >= most_at_once)
            await_oldest();
        if (is_silent)
            return first_failure;
        Completion completion = make_completion();
        const auto begin = [&](librados::IoCtx &io) { return operation(io, completion.get()); };
        if (const int result = pool.start(begin); result < 0)
            note(result);
        else
            running.push_back(std::move(completion));
        return first_failure;
    }

    // Waits for all.
    int finish() {
        while (!running.empty())
            await_oldest();
        return first_failure;
    }

private:
    static constexpr size_t most_at_once = 12;

    void await_oldest() {
        note(pool.await(*running.front()));
        running.pop_front();
    }

    void note(int result) {
        is_silent = is_silent || result == -ETIMEDOUT;
        if (result < 0 && result != -ENOENT && first_failure == 0)
            first_failure = result;
    }

    Pool &pool;
    std::deque<Completion> running;
    int first_failure = 0;
    bool is_silent = false;
};

}  // namespace stsimage
