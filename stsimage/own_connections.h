// The connections of a process to an engine.
#pragma once

#include <pthread.h>

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

namespace stsimage {

// One for each location, made when it is first asked for and kept to the end of the process; one that was forked makes its own. Never
// taken down: threads and what is still open at that end need them, and an engine that does not answer must not put it off.
template <class Connection>
class OwnConnections {
public:
    // Gives the one for a location. It is opened by open(out_connection), which gives a status.
    template <class Open>
    static int32_t find(std::string_view location, std::shared_ptr<Connection> &out_connection, Open open) {
        OwnConnections &all = of_this_process();
        const std::lock_guard<std::mutex> lock(all.mutex);
        std::shared_ptr<Connection> &known = all.by_location[std::string(location)];
        if (known == nullptr)
            if (const int32_t status = open(known); status != 0)
                return status;
        out_connection = known;
        return 0;
    }

private:
    static OwnConnections &of_this_process() {
        static const int begun = [] {
            begin_anew();
            return pthread_atfork(nullptr, nullptr, begin_anew);
        }();
        static_cast<void>(begun);
        return *own;
    }

    // In a process that was just forked: the threads that serve the connections are its parent's, and one of them may have had the
    // mutex.
    static void begin_anew() {
        auto *const anew = new OwnConnections;
        anew->of_parent = own;
        own = anew;
    }

    static inline OwnConnections *own = nullptr;

    std::mutex mutex;
    std::map<std::string, std::shared_ptr<Connection>> by_location;
    OwnConnections *of_parent = nullptr;
};

}  // namespace stsimage
