#include "stsimage/s3/bucket.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "stsimage/last_error.h"
#include "stsimage/quoted_text.h"
#include "stsimage/root_prefix.h"
#include "stspi/stsimg.h"

namespace stsimage::s3 {

namespace {

constexpr size_t longest_list = size_t{8} << 20;
constexpr size_t longest_prefix = 200;  // with the longest names below it a key stays below 1024 bytes

bool is_bucket_name(std::string_view name) {
    return !name.empty() &&
           name.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._-") == name.npos;
}

// Printable ASCII, so that keys come back in lists as they went.
bool is_prefix(std::string_view text) {
    return text.size() <= longest_prefix &&
           std::all_of(text.begin(), text.end(), [](char character) { return character > 0x20 && character < 0x7f; });
}

}  // namespace

Condition Condition::still(const std::string &etag, EtagForm form) {
    const bool is_quoted = etag.size() >= 2 && etag.front() == '"' && etag.back() == '"';
    return {"if-match", form == EtagForm::bare && is_quoted ? etag.substr(1, etag.size() - 2) : etag};
}

int32_t Bucket::open(std::string_view location, std::unique_ptr<Bucket> &out_bucket) {
    const std::string_view name = location.substr(0, 2) == "//" ? location.substr(2) : std::string_view();
    const size_t slash = std::min(name.find('/'), name.size());
    std::string prefix = normalize_prefix(name.substr(slash));
    if (!prefix.empty())
        prefix += '/';
    const bool is_fine = is_bucket_name(name.substr(0, slash)) && is_prefix(prefix);
    if (!is_fine && location.find('@') != location.npos)  // a message must not have what may be a password
        return fail(STSIMG_E_INVALID_LSU, "STSIMAGE_ROOT names a user: s3://BUCKET[/PREFIX] is expected");
    if (!is_fine)
        return fail(
            STSIMG_E_INVALID_LSU,
            "STSIMAGE_ROOT is s3:%s: s3://BUCKET[/PREFIX] is expected, with a prefix of 200 printable characters at "
            "most",
            QuotedText(location).c_str());
    Settings settings;
    if (const int32_t status = read_settings(settings); status != 0)
        return status;
    if (!Transfer::set_up())
        return fail(STS_E_SYSTEM, "libcurl cannot be set up");
    out_bucket.reset(new Bucket(std::move(settings), std::string(name.substr(0, slash)), prefix));
    return 0;
}

Bucket::Bucket(Settings settings, const std::string &bucket, const std::string &key_prefix)
    : service(std::move(settings)),
      bucket_path("/" + bucket),
      prefix(key_prefix),
      shown_name("s3://" + bucket + (prefix.empty() ? "" : "/" + prefix.substr(0, prefix.size() - 1))),
      maker(getpid()) {}

bool Bucket::is_ours() const { return maker == getpid(); }

Answer Bucket::send(Request request, size_t longest_body) {
    if (is_ours())
        return service.send(std::move(request), longest_body);
    Answer refused;
    refused.error = ENOTCONN;
    return refused;
}

Request Bucket::request_for(const char *method, const std::string &key) const {
    Request request;
    request.method = method;
    request.path = bucket_path + "/" + prefix + key;
    return request;
}

Answer Bucket::get(const std::string &key) { return send(request_for("GET", key), size_t{1} << 20); }

Answer Bucket::get_range(const std::string &key, uint64_t place, uint64_t length) {
    Request request = request_for("GET", key);
    request.headers["range"] = "bytes=" + std::to_string(place) + "-" + std::to_string(place + length - 1);
    Answer answer = send(std::move(request), length);
    if (answer.status == 416) {  // it ends before
        answer = Answer();
        answer.status = 206;
    } else if (answer.ok() && answer.status != 206 && (place != 0 || answer.body.size() > length)) {
        answer.error = EPROTO;
        answer.words = "a range was asked for and not given";
    }
    return answer;
}

Answer Bucket::put(const std::string &key, std::string_view body, const Condition &condition) {
    Request request = request_for("PUT", key);
    request.body = body;
    if (!condition.header.empty())
        request.headers[condition.header] = condition.value;
    return send(std::move(request), size_t{1} << 20);
}

Answer Bucket::copy(const std::string &from, const std::string &to) {
    Request request = request_for("PUT", to);
    request.headers["x-amz-copy-source"] = encode_path(bucket_path + "/" + prefix + from);
    return send(std::move(request), size_t{1} << 20);
}

Answer Bucket::remove(const std::string &key) {
    Answer answer = send(request_for("DELETE", key), size_t{1} << 20);
    if (answer.error == ENOENT && answer.code != "NoSuchBucket")
        answer.error = 0;
    return answer;
}

Answer Bucket::list(const std::string &beginning, const std::string &delimiter, const std::string &continuation,
                    ListPage &out_page) {
    Request request;
    request.method = "GET";
    request.path = bucket_path;
    request.query = {{"list-type", "2"}, {"prefix", prefix + beginning}};
    if (!delimiter.empty())
        request.query["delimiter"] = delimiter;
    if (!continuation.empty())
        request.query["continuation-token"] = continuation;
    Answer answer = send(std::move(request), longest_list);
    if (!answer.ok())
        return answer;
    // A service that gives more than was asked for must not have that deleted.
    const auto is_asked_for = [&, asked = prefix + beginning](const std::string &key) {
        return key.compare(0, asked.size(), asked) == 0;
    };
    bool is_right = read_list(answer.body, out_page) && (continuation.empty() || out_page.continuation != continuation);
    for (ListedObject &object : out_page.objects) {
        is_right = is_right && is_asked_for(object.key);
        object.key.erase(0, prefix.size());
    }
    for (std::string &folded : out_page.prefixes) {
        is_right = is_right && is_asked_for(folded);
        folded.erase(0, prefix.size());
    }
    if (!is_right) {
        out_page = ListPage();
        answer.error = EBADMSG;
        answer.words = "the service's list is not understood";
    }
    return answer;
}

Answer Bucket::list_all(const std::string &beginning, const std::string &delimiter,
                        const std::function<Answer(const ListPage &, std::time_t)> &listener) {
    ListPage page;
    do {
        const std::string continuation = page.continuation;
        if (Answer answer = list(beginning, delimiter, continuation, page); !answer.ok())
            return answer;
        else if (Answer heard = listener(page, answer.date()); !heard.ok())
            return heard;
    } while (!page.continuation.empty());
    return {};
}

}  // namespace stsimage::s3
