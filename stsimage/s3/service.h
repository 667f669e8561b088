// A service that speaks S3: requests to it, made again while that may help.
#pragma once

#include <cstddef>
#include <mutex>
#include <string>

#include "stsimage/s3/answer.h"
#include "stsimage/s3/credentials.h"
#include "stsimage/s3/settings.h"
#include "stsimage/s3/transfer.h"

namespace stsimage::s3 {

// For any thread.
class Service {
public:
    explicit Service(Settings settings) : own_settings(std::move(settings)) {}

    const Settings &settings() const { return own_settings; }

    // Makes a request, again if it is refused for the moment or its answer does not come, and for so long as the time-out or the
    // call's patience at most. Every request must be one that may be done twice. An answer that is not success has an errno value: ENOENT for what
    // is not there, ECANCELED for a condition that does not hold. Where credentials are refused that have been changed in their
    // file meanwhile, the new ones are used.
    Answer send(Request request, size_t longest_body = 1 << 20);

private:
    Credentials credentials();
    // False when there are no others than those that were refused.
    bool find_others(const Credentials &refused);

    Settings own_settings;  // but for the credentials it stays as it was
    std::mutex credentials_mutex;
    Transfer transfer;
};

}  // namespace stsimage::s3
