#include "stsimage/s3/image_root.h"

#include <pthread.h>

#include <cerrno>
#include <map>
#include <utility>

#include "stsimage/last_error.h"
#include "stsimage/random_id.h"
#include "stsimage/s3/loose_parts.h"
#include "stsimage/s3/process_end.h"

namespace stsimage::s3 {

namespace {

struct Connections {
    std::mutex mutex;
    std::map<std::string, std::shared_ptr<ImageRoot>> roots;  // by location
    Connections *of_parent = nullptr;
};

// A process's own. Never taken down: threads and what is still open at the end of the process need it.
Connections *own_connections = nullptr;

// In a process that was just forked: the connections are its parent's, and one of its threads may have had the mutex.
void begin_anew() {
    auto *const anew = new Connections;
    anew->of_parent = own_connections;
    own_connections = anew;
}

Connections &connections() {
    static const int begun = [] {
        begin_anew();
        return pthread_atfork(nullptr, nullptr, begin_anew);
    }();
    static_cast<void>(begun);
    return *own_connections;
}

}  // namespace

int32_t ImageRoot::connect(std::string_view location, std::shared_ptr<ImageRoot> &out_root) {
    Connections &all = connections();
    const std::lock_guard<std::mutex> lock(all.mutex);
    std::shared_ptr<ImageRoot> &known = all.roots[std::string(location)];
    if (known == nullptr) {
        std::unique_ptr<Bucket> bucket;
        if (const int32_t status = Bucket::open(location, bucket); status != 0)
            return status;
        heed_process_end();
        std::string process;
        if (!make_random_id(process))
            return fail_system(errno, "cannot get a random number for this process");
        known = std::make_shared<ImageRoot>(std::move(bucket), std::move(process));
    }
    out_root = known;
    return 0;
}

ImageRoot::ImageRoot(std::unique_ptr<Bucket> bucket, std::string process)
    : own_bucket(std::move(bucket)), own_presence(*own_bucket, std::move(process), [this] { sweep(); }) {}

bool ImageRoot::knows_lsu(const std::string &lsu) {
    const std::lock_guard<std::mutex> lock(mutex);
    return lsus.count(lsu) != 0;
}

void ImageRoot::note_lsu(const std::string &lsu) {
    const std::lock_guard<std::mutex> lock(mutex);
    lsus.insert(lsu);
}

bool ImageRoot::heeds_conditions() {
    const std::lock_guard<std::mutex> lock(mutex);
    return conditions_heeded;
}

void ImageRoot::note_conditions_heeded() {
    const std::lock_guard<std::mutex> lock(mutex);
    conditions_heeded = true;
}

void ImageRoot::sweep() {
    {
        const std::lock_guard<std::mutex> lock(mutex);
        const auto now = std::chrono::steady_clock::now();
        if (has_swept && now - swept_at < std::chrono::seconds(bucket().settings().lease_seconds) / 2)
            return;
        has_swept = true;
        swept_at = now;
    }
    clear_loose_parts(shared_from_this());
    own_presence.clear_dead();
}

}  // namespace stsimage::s3
