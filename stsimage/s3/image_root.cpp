#include "stsimage/s3/image_root.h"

#include <cerrno>
#include <chrono>
#include <utility>

#include "stsimage/last_error.h"
#include "stsimage/own_connections.h"
#include "stsimage/process_end.h"
#include "stsimage/random_id.h"
#include "stsimage/s3/loose_parts.h"

namespace stsimage::s3 {

int32_t ImageRoot::connect(std::string_view location, std::shared_ptr<ImageRoot> &out_root) {
    return OwnConnections<ImageRoot>::find(location, out_root, [location](std::shared_ptr<ImageRoot> &out_opened) {
        std::unique_ptr<Bucket> bucket;
        if (const int32_t status = Bucket::open(location, bucket); status != 0)
            return status;
        // A request looks at least once a second whether it is given up.
        static const bool heeded = (heed_process_end(std::chrono::seconds(5), [] {}), true);
        static_cast<void>(heeded);
        std::string process;
        if (!make_random_id(process))
            return fail_system(errno, "cannot get a random number for this process");
        out_opened = std::make_shared<ImageRoot>(std::move(bucket), std::move(process));
        return 0;
    });
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

std::optional<EtagForm> ImageRoot::etag_form() {
    const std::lock_guard<std::mutex> lock(mutex);
    return form_heeded;
}

void ImageRoot::note_etag_form(EtagForm form) {
    const std::lock_guard<std::mutex> lock(mutex);
    form_heeded = form;
}

void ImageRoot::sweep(std::chrono::steady_clock::time_point deadline) {
    {
        const std::lock_guard<std::mutex> lock(mutex);
        const auto now = std::chrono::steady_clock::now();
        if (has_swept && now - swept_at < std::chrono::seconds(bucket().settings().lease_seconds) / 2)
            return;
        has_swept = true;
        swept_at = now;
    }
    clear_loose_parts(shared_from_this(), deadline);
    own_presence.clear_dead();
}

}  // namespace stsimage::s3
