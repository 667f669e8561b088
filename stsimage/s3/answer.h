// What came of a request to the service.
#pragma once

#include <chrono>
#include <cstdint>
#include <ctime>
#include <string>

#include "stsimage/s3/request_signing.h"

namespace stsimage::s3 {

struct Answer {
    int error = 0;                                // an errno value, 0 when the service has done it
    bool unclear = false;                         // it may have been done, now or later, whatever the error says
    std::chrono::milliseconds waited_in_vain{0};  // the time-out, when the request had all of it
    long status = 0;                              // of HTTP, 0 when there was no answer
    Fields headers;                               // names in lower case
    std::string body;
    std::string code;   // the service's own name of an error
    std::string words;  // what went wrong, for a message

    bool ok() const { return error == 0; }

    // A header, empty when it is not there.
    std::string header(const std::string &name) const;

    // The clock of the service, and its age of what was asked for, both by its own headers. Negative when it did not tell.
    std::time_t date() const;
    std::time_t age() const;
};

// Leaves what went wrong as the calling thread's failure: "WHAT: the service's words: the errno's meaning".
int32_t tell(const Answer &answer, const std::string &what);

// The same number for errno. What lasted as long as the time-out, or was not there, has one that calls for no other attempt.
int errno_of(const Answer &answer);

}  // namespace stsimage::s3
