// Where the service is and how patient its clients are, from the environment.
#pragma once

#include <cstdint>
#include <string>

#include "stsimage/s3/credentials.h"

namespace stsimage::s3 {

struct Settings {
    std::string endpoint;  // "https://HOST[:PORT]", without a slash at its end
    std::string host;      // "HOST[:PORT]", as requests name it
    std::string region;
    std::string certificates;  // a file of authorities to trust, empty for the system's
    Credentials credentials;
    CredentialsFile credentials_file;  // where they are from, when they are
    uint32_t timeout_seconds = 0;      // for one request with all attempts at it
    uint32_t lease_seconds = 0;        // a writer that was not heard of for so long is dead
};

// AWS_ENDPOINT_URL_S3 or AWS_ENDPOINT_URL; AWS_REGION or AWS_DEFAULT_REGION ("us-east-1"); AWS_CA_BUNDLE;
// STSIMAGE_S3_TIMEOUT and STSIMAGE_S3_LEASE (30 seconds each).
int32_t read_settings(Settings &out_settings);

}  // namespace stsimage::s3
