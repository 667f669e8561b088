#include "stsimage/s3/settings.h"

#include "stsimage/last_error.h"
#include "stsimage/quoted_text.h"
#include "stsimage/s3/environment.h"
#include "stsimage/seconds_setting.h"
#include "stspi/stsimg.h"

namespace stsimage::s3 {

namespace {

// Takes "http[s]://HOST[:PORT][/]" apart.
bool read_endpoint(const std::string &url, Settings &settings) {
    const size_t scheme_end = url.find("://");
    if (scheme_end == url.npos || (url.compare(0, scheme_end, "http") != 0 && url.compare(0, scheme_end, "https") != 0))
        return false;
    settings.endpoint = url.substr(0, url.find_last_not_of('/') + 1);
    settings.host = settings.endpoint.size() > scheme_end + 3 ? settings.endpoint.substr(scheme_end + 3) : "";
    if (settings.host.empty() || settings.host.find_first_of("/?#@ ") != settings.host.npos)
        return false;
    // What is usual is left out where a request names its host.
    const std::string usual_port = settings.endpoint.compare(0, 6, "https:") == 0 ? ":443" : ":80";
    if (settings.host.size() > usual_port.size() &&
        settings.host.compare(settings.host.size() - usual_port.size(), usual_port.npos, usual_port) == 0)
        settings.host.resize(settings.host.size() - usual_port.size());
    return true;
}

}  // namespace

int32_t read_settings(Settings &out_settings) {
    out_settings.region = environment("AWS_REGION", environment("AWS_DEFAULT_REGION", "us-east-1"));
    const std::string url = environment(
        "AWS_ENDPOINT_URL_S3", environment("AWS_ENDPOINT_URL", "https://s3." + out_settings.region + ".amazonaws.com"));
    if (url.find('@') != url.npos)  // a message must not have what may be a password
        return fail(STSIMG_E_INVALID_LSU, "AWS_ENDPOINT_URL names a user: http[s]://HOST[:PORT] is expected");
    if (!read_endpoint(url, out_settings))
        return fail(STSIMG_E_INVALID_LSU, "AWS_ENDPOINT_URL is %s: http[s]://HOST[:PORT] is expected",
                    QuotedText(url).c_str());
    out_settings.certificates = environment("AWS_CA_BUNDLE");
    if (const int32_t status = read_seconds("STSIMAGE_S3_TIMEOUT", 1, 30, out_settings.timeout_seconds); status != 0)
        return status;
    if (const int32_t status = read_seconds("STSIMAGE_S3_LEASE", 3, 30, out_settings.lease_seconds); status != 0)
        return status;
    return find_credentials(out_settings.credentials, out_settings.credentials_file);
}

}  // namespace stsimage::s3
