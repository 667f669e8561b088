// Reads from the log of an image that is whole (image_log.h).
#pragma once

#include <cstdint>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "stsimage/s3/bucket.h"

namespace stsimage::s3 {

// For any number of threads side by side. A stream is fetched in whole parts ahead of its reader, what is small in windows that
// are kept for what lies beside it.
class LogReader {
public:
    LogReader(Bucket &bucket, std::string id, uint64_t length);
    ~LogReader();
    LogReader(const LogReader &) = delete;
    LogReader &operator=(const LogReader &) = delete;

    // Reads a range of the log. What an object is too short for is zero. Returns false with errno set: EIDRM when the image has been
    // cleared away.
    bool read(char *target, uint64_t length, uint64_t place);

private:
    using SharedAnswer = std::shared_ptr<const Answer>;
    using Parts = std::map<uint64_t, std::shared_future<Answer>>;

    bool is_sequential(uint64_t place, uint64_t length);
    SharedAnswer fetch(uint64_t place, uint64_t length);
    SharedAnswer fetch_window(uint64_t window);
    std::shared_future<Answer> start_fetching(uint64_t part);
    SharedAnswer fetch_part(uint64_t part);

    Bucket &bucket;
    const std::string id;
    const uint64_t log_length;

    struct Window {
        SharedAnswer data;
        uint64_t last_use = 0;
    };

    std::mutex mutex;
    uint64_t end_of_last = 0;
    uint64_t uses = 0;
    std::map<uint64_t, Window> windows;
    std::unique_ptr<Parts> ahead;
};

}  // namespace stsimage::s3
