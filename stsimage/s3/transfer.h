// One attempt at a request, over connections that are used again.
#pragma once

#include <curl/curl.h>

#include <chrono>
#include <cstddef>
#include <mutex>
#include <vector>

#include "stsimage/s3/answer.h"
#include "stsimage/s3/settings.h"

namespace stsimage::s3 {

// Any number of threads may use it; each has a connection of its own meanwhile.
class Transfer {
public:
    Transfer() { idle.reserve(most_idle); }
    Transfer(const Transfer &) = delete;
    Transfer &operator=(const Transfer &) = delete;

    // Before anything else: what libcurl demands once in a process.
    static bool set_up();

    // Makes a signed request once. An answer of the service, whatever it says, leaves error at 0; no answer sets error and words.
    // Takes no more of a body than so many bytes.
    Answer attempt(const Settings &settings, const Request &request, size_t longest_body,
                   std::chrono::milliseconds patience);

private:
    static constexpr size_t most_idle = 16;

    CURL *take();
    void give_back(CURL *handle);

    std::mutex mutex;
    std::vector<CURL *> idle;
};

}  // namespace stsimage::s3
