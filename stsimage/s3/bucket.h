// A bucket of a service, and in it the keys below one prefix.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "stsimage/s3/service.h"
#include "stsimage/s3/xml_answers.h"

namespace stsimage::s3 {

// How a service wants to be told an ETag. HTTP has it quoted, and so it is always given; some take back only what is between the quotes.
enum class EtagForm { quoted, bare };

// What must hold for a change, told to the service as a header; both empty for no condition.
struct Condition {
    static Condition absent() { return {"if-none-match", "*"}; }
    static Condition still(const std::string &etag, EtagForm form);

    std::string header;
    std::string value;
};

// For any thread of the process that made it; in one that was forked from it every request is refused with ENOTCONN.
class Bucket {
public:
    // The location is "//BUCKET[/PREFIX]", the rest of "s3://BUCKET/PREFIX".
    static int32_t open(std::string_view location, std::unique_ptr<Bucket> &out_bucket);

    // For messages: "s3://BUCKET/PREFIX".
    const std::string &name() const { return shown_name; }
    const Settings &settings() const { return service.settings(); }
    bool is_ours() const;

    Answer get(const std::string &key);

    // Less than asked for at the end of the object; an answer of more is an error.
    Answer get_range(const std::string &key, uint64_t place, uint64_t length);
    Answer put(const std::string &key, std::string_view body, const Condition &condition = {});
    Answer copy(const std::string &from, const std::string &to);

    // Of what is not there as well.
    Answer remove(const std::string &key);

    // A page of the keys that begin so, from a continuation of the page before on. A delimiter folds those that go on behind it
    // into prefixes. Keys are given below the bucket's prefix.
    Answer list(const std::string &beginning, const std::string &delimiter, const std::string &continuation,
                ListPage &out_page);

    // The same for all pages, as long as the listener gives success; it gets each page with the clock of the service.
    Answer list_all(const std::string &beginning, const std::string &delimiter,
                    const std::function<Answer(const ListPage &, std::time_t)> &listener);

private:
    Bucket(Settings settings, const std::string &bucket, const std::string &prefix);
    Answer send(Request request, size_t longest_body);
    Request request_for(const char *method, const std::string &key) const;

    Service service;
    const std::string bucket_path;  // "/BUCKET"
    const std::string prefix;       // empty, or with a slash at its end
    const std::string shown_name;
    const pid_t maker;
};

}  // namespace stsimage::s3
