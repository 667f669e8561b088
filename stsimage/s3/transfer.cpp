#include "stsimage/s3/transfer.h"

#include <signal.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <new>

#include "stsimage/process_end.h"

namespace stsimage::s3 {

namespace {

constexpr long longest_connecting_ms = 10'000;
constexpr size_t most_headers = 200;

// OpenSSL writes to sockets in a way that kills a process whose peer has gone. The signal is kept from the thread meanwhile.
class WithoutBrokenPipes {
public:
    WithoutBrokenPipes() {
        sigemptyset(&pipe_signal);
        sigaddset(&pipe_signal, SIGPIPE);
        sigset_t pending;
        sigemptyset(&pending);
        sigpending(&pending);
        was_pending = sigismember(&pending, SIGPIPE) == 1;
        pthread_sigmask(SIG_BLOCK, &pipe_signal, &earlier);
    }
    WithoutBrokenPipes(const WithoutBrokenPipes &) = delete;
    WithoutBrokenPipes &operator=(const WithoutBrokenPipes &) = delete;
    ~WithoutBrokenPipes() {
        const timespec at_once{};
        if (!was_pending)
            while (sigtimedwait(&pipe_signal, nullptr, &at_once) == -1 && errno == EINTR)
                continue;
        pthread_sigmask(SIG_SETMASK, &earlier, nullptr);
    }

private:
    sigset_t pipe_signal{};
    sigset_t earlier{};
    bool was_pending = false;
};

struct Exchange {
    Answer answer;
    std::string_view to_send;
    size_t sent = 0;
    size_t longest_body = 0;
    bool is_sent_again = false;
    bool too_long = false;
};

size_t send_body(char *buffer, size_t size, size_t count, void *data) {
    auto &exchange = *static_cast<Exchange *>(data);
    const size_t share = std::min(size * count, exchange.to_send.size() - exchange.sent);
    std::memcpy(buffer, exchange.to_send.data() + exchange.sent, share);
    exchange.sent += share;
    return share;
}

int seek_body(void *data, curl_off_t offset, int origin) {
    auto &exchange = *static_cast<Exchange *>(data);
    if (origin != SEEK_SET || offset < 0 || static_cast<size_t>(offset) > exchange.to_send.size())
        return CURL_SEEKFUNC_FAIL;
    exchange.sent = static_cast<size_t>(offset);
    exchange.is_sent_again = true;
    return CURL_SEEKFUNC_OK;
}

size_t take_body(char *buffer, size_t size, size_t count, void *data) {
    auto &exchange = *static_cast<Exchange *>(data);
    const size_t share = size * count;
    if (share > exchange.longest_body - exchange.answer.body.size()) {
        exchange.too_long = true;
        return 0;
    }
    try {
        std::string &body = exchange.answer.body;
        if (body.empty())  // a part that grows would be copied several times
            body.reserve(std::min<size_t>(
                exchange.longest_body, std::strtoull(exchange.answer.header("content-length").c_str(), nullptr, 10)));
        body.append(buffer, share);
    } catch (const std::bad_alloc &) {
        return 0;  // no exception may cross libcurl
    }
    return share;
}

size_t take_header(char *buffer, size_t size, size_t count, void *data) {
    auto &exchange = *static_cast<Exchange *>(data);
    const std::string_view line(buffer, size * count);
    try {
        if (line.substr(0, 5) == "HTTP/")
            exchange.answer.headers.clear();
        const size_t colon = line.find(':');
        const size_t end = line.find_last_not_of("\r\n \t");
        if (colon == line.npos || end == line.npos || exchange.answer.headers.size() >= most_headers)
            return line.size();
        std::string name(line.substr(0, colon));
        std::transform(name.begin(), name.end(), name.begin(), [](char letter) {
            return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter + 32) : letter;
        });
        const size_t begin = line.find_first_not_of(" \t", colon + 1);
        exchange.answer.headers[name] = begin <= end ? line.substr(begin, end - begin + 1) : "";
    } catch (const std::bad_alloc &) {
        return 0;
    }
    return line.size();
}

int go_on(void *, curl_off_t, curl_off_t, curl_off_t, curl_off_t) { return is_end_near() ? 1 : 0; }

// Whether a request has surely not got beyond this machine. libcurl notes a time as soon as it has begun to send, and keeps it
// when it makes the request again by itself. The result would not do: a connection that is not made in time has that of any other
// time-out.
bool is_before_the_request(CURL *handle) {
    curl_off_t until_sent = 0;
    return curl_easy_getinfo(handle, CURLINFO_PRETRANSFER_TIME_T, &until_sent) == CURLE_OK && until_sent == 0;
}

int error_of(CURLcode result, CURL *handle) {
    switch (result) {
        case CURLE_OK:
            return 0;
        case CURLE_OPERATION_TIMEDOUT:
            return ETIME;
        case CURLE_ABORTED_BY_CALLBACK:
            return ENOTCONN;
        case CURLE_OUT_OF_MEMORY:
            return ENOMEM;
        case CURLE_PEER_FAILED_VERIFICATION:
        case CURLE_SSL_CACERT_BADFILE:
            return EKEYREJECTED;
        default:
            break;
    }
    long error = 0;
    curl_easy_getinfo(handle, CURLINFO_OS_ERRNO, &error);
    return error == ECONNREFUSED || error == ECONNRESET || error == EHOSTUNREACH || error == ENETUNREACH
               ? static_cast<int>(error)
               : ECOMM;
}

using HeaderList = std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)>;

HeaderList list_headers(const Request &request) {
    HeaderList list(nullptr, curl_slist_free_all);
    const auto add = [&list](const std::string &line) {
        curl_slist *const longer = curl_slist_append(list.get(), line.c_str());
        if (longer == nullptr)
            throw std::bad_alloc();
        static_cast<void>(list.release());
        list.reset(longer);
    };
    for (const auto &[name, value] : request.headers)
        add(std::string(name).append(": ").append(value));
    add("expect:");  // waiting for leave to send costs a round trip
    add("content-type:");
    return list;
}

}  // namespace

bool Transfer::set_up() {
    static const bool done = curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK;
    return done;
}

CURL *Transfer::take() {
    const std::lock_guard<std::mutex> lock(mutex);
    if (idle.empty()) {
        CURL *const handle = curl_easy_init();
        if (handle == nullptr)
            throw std::bad_alloc();
        return handle;
    }
    CURL *const handle = idle.back();
    idle.pop_back();
    return handle;
}

void Transfer::give_back(CURL *handle) {
    curl_easy_reset(handle);  // connections stay
    const std::lock_guard<std::mutex> lock(mutex);
    if (idle.size() < most_idle)
        idle.push_back(handle);
    else
        curl_easy_cleanup(handle);
}

Answer Transfer::attempt(const Settings &settings, const Request &request, size_t longest_body,
                         std::chrono::milliseconds patience) {
    const WithoutBrokenPipes without_broken_pipes;
    const std::string query = encode_query(request.query);
    const std::string url = settings.endpoint + encode_path(request.path) + (query.empty() ? "" : "?" + query);
    const HeaderList headers = list_headers(request);
    Exchange exchange;
    exchange.to_send = request.body;
    exchange.longest_body = longest_body;
    std::array<char, CURL_ERROR_SIZE> why{};
    const long patience_ms = std::max<long>(1, static_cast<long>(patience.count()));

    const std::unique_ptr<CURL, std::function<void(CURL *)>> taken(take(), [this](CURL *used) { give_back(used); });
    CURL *const handle = taken.get();
    curl_easy_setopt(handle, CURLOPT_URL, url.c_str());
    curl_easy_setopt(handle, CURLOPT_PATH_AS_IS, 1L);
    curl_easy_setopt(handle, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(handle, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(handle, CURLOPT_ERRORBUFFER, why.data());
    curl_easy_setopt(handle, CURLOPT_HTTPHEADER, headers.get());
    curl_easy_setopt(handle, CURLOPT_CONNECTTIMEOUT_MS, std::min(patience_ms, longest_connecting_ms));
    curl_easy_setopt(handle, CURLOPT_TIMEOUT_MS, patience_ms);
    // A name server that does not answer is not waited for any longer.
    curl_easy_setopt(handle, CURLOPT_QUICK_EXIT, 1L);
    // A connection on which nothing moves is given up early enough for another attempt.
    curl_easy_setopt(handle, CURLOPT_LOW_SPEED_LIMIT, 1L);
    curl_easy_setopt(handle, CURLOPT_LOW_SPEED_TIME,
                     std::max<long>(1, static_cast<long>(settings.timeout_seconds) / 3));
    curl_easy_setopt(handle, CURLOPT_NOPROGRESS, 0L);
    curl_easy_setopt(handle, CURLOPT_XFERINFOFUNCTION, go_on);
    curl_easy_setopt(handle, CURLOPT_BUFFERSIZE, 256L * 1024);
    curl_easy_setopt(handle, CURLOPT_UPLOAD_BUFFERSIZE, 256L * 1024);
    if (!settings.certificates.empty())
        curl_easy_setopt(handle, CURLOPT_CAINFO, settings.certificates.c_str());
    curl_easy_setopt(handle, CURLOPT_HEADERFUNCTION, take_header);
    curl_easy_setopt(handle, CURLOPT_HEADERDATA, &exchange);
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, take_body);
    curl_easy_setopt(handle, CURLOPT_WRITEDATA, &exchange);
    if (request.method == "PUT") {
        curl_easy_setopt(handle, CURLOPT_UPLOAD, 1L);
        curl_easy_setopt(handle, CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(request.body.size()));
        curl_easy_setopt(handle, CURLOPT_READFUNCTION, send_body);
        curl_easy_setopt(handle, CURLOPT_READDATA, &exchange);
        curl_easy_setopt(handle, CURLOPT_SEEKFUNCTION, seek_body);
        curl_easy_setopt(handle, CURLOPT_SEEKDATA, &exchange);
    } else if (request.method != "GET") {
        curl_easy_setopt(handle, CURLOPT_CUSTOMREQUEST, request.method.c_str());
    }

    const CURLcode result = curl_easy_perform(handle);
    Answer &answer = exchange.answer;
    curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &answer.status);
    answer.error = exchange.too_long ? EOVERFLOW : error_of(result, handle);
    // By itself libcurl makes a request again whose connection had been used before and is cut. The answer is the second one's.
    answer.unclear = exchange.is_sent_again || (answer.error != 0 && !is_before_the_request(handle));
    if (answer.error != 0)
        answer.words = exchange.too_long ? "the answer is too long"
                       : why[0] != '\0'  ? why.data()
                                         : curl_easy_strerror(result);
    return std::move(exchange.answer);
}

}  // namespace stsimage::s3
