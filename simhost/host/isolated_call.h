// A call that may crash or hang, made in a process of its own.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>

struct IsolatedOutcome {
    std::optional<int32_t> status;  // what the call returned; empty when it did not return
    int signal = 0;                 // that ended it; SIGALRM when it took longer than ten seconds
};

// Whatever the call changes is gone afterwards. Throws std::system_error when no process can be made.
IsolatedOutcome call_isolated(const std::function<int32_t()> &function);
