// The connections of a process to an engine.
#pragma once

#include <pthread.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "stsimage/last_error.h"

namespace stsimage {

// One for each location, made when it is first asked for and kept to the end of the process; one that was forked makes its own. Never
// destroyed: threads and what is still open at that end need them, and an engine that does not answer must not put it off.
template <class Connection>
class OwnConnections {
public:
    // Gives the one for a location. It is opened by open(out_connection), which gives a status; callers for one location wait for
    // each other. Of those that have waited one has tried, and what it failed with is told to all of them: each in turn would wait
    // for an engine that does not answer, for as long as all of them together.
    template <class Open>
    static int32_t find(std::string_view location, std::shared_ptr<Connection> &out_connection, Open open) {
        const auto asked = std::chrono::steady_clock::now();
        Place &place = of_this_process().at(location);
        const std::lock_guard<std::mutex> lock(place.opening);
        if (place.connection == nullptr) {
            if (place.failure != nullptr && place.failed >= asked) {
                place.failure->tell_again();
                return place.status;
            }
            place.status = open(place.connection);
            if (place.status != 0) {
                place.failure = std::make_unique<EarlierFailure>();
                place.failed = std::chrono::steady_clock::now();
                return place.status;
            }
        }
        out_connection = place.connection;
        return 0;
    }

private:
    struct Place {
        std::mutex opening;
        std::shared_ptr<Connection> connection;
        int32_t status = 0;
        std::unique_ptr<EarlierFailure> failure;
        std::chrono::steady_clock::time_point failed;
    };

    Place &at(std::string_view location) {
        const std::lock_guard<std::mutex> lock(mutex);
        return by_location[std::string(location)];
    }

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
    std::map<std::string, Place> by_location;  // no place is ever taken away
    OwnConnections *of_parent = nullptr;
};

}  // namespace stsimage
