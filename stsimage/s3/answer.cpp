#include "stsimage/s3/answer.h"

#include <curl/curl.h>

#include <cerrno>

#include "stsimage/last_error.h"

namespace stsimage::s3 {

std::string Answer::header(const std::string &name) const {
    const auto found = headers.find(name);
    return found != headers.end() ? found->second : std::string();
}

std::time_t Answer::date() const { return curl_getdate(header("date").c_str(), nullptr); }

std::time_t Answer::age() const {
    const std::time_t now = date();
    const std::time_t modified = curl_getdate(header("last-modified").c_str(), nullptr);
    return now < 0 || modified < 0 ? -1 : now > modified ? now - modified : 0;
}

int errno_of(const Answer &answer) {
    switch (answer.error) {
        case ENOENT:
            return ENXIO;
        case ETIMEDOUT:
            return ETIME;
        case ESTALE:
            return EIO;
        default:
            return answer.error;
    }
}

int32_t tell(const Answer &answer, const std::string &what) {
    return answer.words.empty() ? fail_system(errno_of(answer), "%s", what.c_str())
                                : fail_system(errno_of(answer), "%s: %s", what.c_str(), answer.words.c_str());
}

}  // namespace stsimage::s3
