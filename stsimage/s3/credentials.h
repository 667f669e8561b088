// Who asks the service: never told in a message or a log.
#pragma once

#include <cstdint>
#include <string>

namespace stsimage::s3 {

struct Credentials {
    std::string access_key;
    std::string secret_key;
    std::string session_token;  // empty for lasting credentials

    bool operator==(const Credentials &other) const {
        return access_key == other.access_key && secret_key == other.secret_key && session_token == other.session_token;
    }
};

// A section of a file that has credentials. Without a path there is none.
struct CredentialsFile {
    std::string path;
    std::string profile;

    // What is there by now; false when that is not whole.
    bool read(Credentials &out_credentials) const;
};

// From AWS_ACCESS_KEY_ID, AWS_SECRET_ACCESS_KEY and AWS_SESSION_TOKEN; else those of the profile AWS_PROFILE ("default") in the
// file AWS_SHARED_CREDENTIALS_FILE (~/.aws/credentials), which is given as well. STSIMG_E_NO_ACCESS when there are none.
int32_t find_credentials(Credentials &out_credentials, CredentialsFile &out_file);

}  // namespace stsimage::s3
