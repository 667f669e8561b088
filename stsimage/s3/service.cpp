#include "stsimage/s3/service.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <thread>

#include "stsimage/call_patience.h"
#include "stsimage/engine_host.h"
#include "stsimage/process_end.h"
#include "stsimage/quoted_text.h"
#include "stsimage/s3/xml_answers.h"

namespace stsimage::s3 {

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::milliseconds;

constexpr Milliseconds first_wait{50};
constexpr Milliseconds longest_wait{2000};

// What the service says that it did not even begin to do.
bool is_refused_for_the_moment(const Answer &answer) {
    return answer.status == 429 || (answer.status == 503 && answer.code == "SlowDown");
}

bool may_be_tried_again(const Answer &answer) {
    return (answer.status >= 500 && answer.status != 501 && answer.status != 507) || answer.status == 429 ||
           answer.code == "RequestTimeout" || answer.code == "OperationAborted" ||
           answer.code == "ConditionalRequestConflict";
}

int error_of_status(const Answer &answer) {
    if (answer.code.find("QuotaExceeded") != answer.code.npos)
        return EDQUOT;
    if (answer.code.find("StorageFull") != answer.code.npos)
        return ENOSPC;
    // Of credentials that are only for a time; told as if the request were wrong.
    if (answer.code == "ExpiredToken" || answer.code == "InvalidToken" || answer.code == "TokenRefreshRequired")
        return EACCES;
    switch (answer.status) {
        case 401:
        case 403:
            return EACCES;
        case 404:
            return ENOENT;
        case 412:
            return ECANCELED;
        case 501:
            return ENOSYS;
        case 507:
            return ENOSPC;
        default:
            return answer.status >= 500 || answer.status == 429 ? EREMOTEIO : EPROTO;
    }
}

// Turns an answer of HTTP into one with an error, when it is none of success.
void judge(Answer &answer, const std::string &endpoint, bool may_fail_late) {
    if (answer.error != 0) {
        answer.words = "no answer from " + endpoint + ", " + QuotedText(answer.words).c_str();
        return;
    }
    const bool is_success = answer.status >= 200 && answer.status < 300;
    if (is_success && !may_fail_late)
        return;
    const ServiceError error = read_error(answer.body);
    if (is_success && error.code.empty())
        return;
    if (is_success)
        answer.status = 500;
    answer.code = error.code;
    answer.error = error_of_status(answer);
    answer.unclear = answer.unclear || (answer.status >= 500 && !is_refused_for_the_moment(answer));
    answer.words = endpoint + " answers " + std::to_string(answer.status);
    if (!error.code.empty())
        answer.words.append(" ").append(QuotedText(error.code).c_str());
    if (!error.message.empty())
        answer.words.append(", ").append(QuotedText(error.message).c_str());
}

}  // namespace

Credentials Service::credentials() {
    const std::lock_guard<std::mutex> lock(credentials_mutex);
    return own_settings.credentials;
}

bool Service::find_others(const Credentials &refused) {
    // Not under the lock: others have requests to make however long a file system takes.
    Credentials found;
    const bool is_found = !own_settings.credentials_file.path.empty() && own_settings.credentials_file.read(found);
    const std::lock_guard<std::mutex> lock(credentials_mutex);
    if (!(own_settings.credentials == refused))  // another thread has
        return true;
    if (!is_found || found == refused)
        return false;
    own_settings.credentials = found;
    return true;
}

Answer Service::send(Request request, size_t longest_body) {
    const UnderWay under_way;
    const Milliseconds time_out = std::chrono::seconds(own_settings.timeout_seconds);
    const Clock::time_point end = Clock::now() + std::min({time_out, time_left_for_call(), time_left_at_end()});
    const Fields unsigned_headers = request.headers;
    bool unclear = false;
    Milliseconds wait = first_wait;
    Answer earlier;
    Credentials used;
    if (Clock::now() + first_wait >= end) {
        earlier.error = ETIME;
        earlier.words = own_settings.endpoint + " did not answer this call before";
        return earlier;
    }
    for (;;) {
        request.headers = unsigned_headers;
        Answer answer;
        const Milliseconds patience = std::chrono::duration_cast<Milliseconds>(end - Clock::now());
        if (process_ends()) {
            answer.error = ENOTCONN;
        } else {
            used = credentials();
            sign(request, own_settings.host, used, own_settings.region, std::time(nullptr));
            answer = transfer.attempt(own_settings, request, longest_body, patience);
        }
        const bool answered = answer.error == 0;
        const bool too_long = answer.error == EOVERFLOW;
        const bool untrusted = answer.error == EKEYREJECTED;
        // A copy that fails after the service has begun to answer has a body that says so.
        judge(answer, own_settings.endpoint, request.method == "PUT");
        unclear = unclear || answer.unclear;
        if (answer.error == EACCES && Clock::now() < end && find_others(used))
            continue;
        // A last attempt that had next to no time says less of the service than the one before.
        if (answer.error == ETIME && patience < time_out / 3 && !earlier.ok())
            answer = std::move(earlier);
        answer.unclear = unclear && !answer.ok();
        const bool again =
            !answer.ok() && !is_end_near() && !too_long && !untrusted && (!answered || may_be_tried_again(answer));
        if (!again)
            return answer;
        if (Clock::now() + wait >= end) {
            answer.waited_in_vain = time_out;
            note_time_out(time_out);
            return answer;
        }
        earlier = std::move(answer);
        std::this_thread::sleep_for(wait);
        wait = std::min(wait * 2, longest_wait);
    }
}

}  // namespace stsimage::s3
