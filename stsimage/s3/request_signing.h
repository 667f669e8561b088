// Requests to the service, and the signature that they bear: HMAC-SHA256 over a canonical form ("AWS4").
#pragma once

#include <ctime>
#include <map>
#include <string>
#include <string_view>

#include "stsimage/s3/credentials.h"

namespace stsimage::s3 {

using Fields = std::map<std::string, std::string>;

struct Request {
    std::string method;
    std::string path;  // as it is meant: "/BUCKET/KEY", not encoded
    Fields query;
    Fields headers;  // names in lower case
    std::string_view body;
};

// What is percent-encoded here is so in one way only, upper case: signatures depend on it. Slashes stay in paths.
std::string encode_path(std::string_view path);
std::string encode_component(std::string_view text);
std::string encode_query(const Fields &query);

std::string sha256_in_hexadecimal(std::string_view data);

// Adds the headers of a signature to a request to this host; all headers that it has are signed with it.
void sign(Request &request, const std::string &host, const Credentials &credentials, const std::string &region,
          std::time_t now);

}  // namespace stsimage::s3
