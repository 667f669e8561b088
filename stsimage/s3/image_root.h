// Where the images of one STSIMAGE_ROOT lie, and this process's connection to it.
//
//     lsu/LSU              an LSU that was made
//     names/LSU/NAME       what there is under a name (name_record.h)
//     image/ID/PART        an image's bytes (image_log.h)
//     loose/ID             an image that may have lost its name, or a draft (loose_parts.h)
//     writers/PROCESS, readers/ID/PROCESS.LEASE     who lives, and reads what (presence.h)
#pragma once

#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "stsimage/s3/bucket.h"
#include "stsimage/s3/presence.h"

namespace stsimage::s3 {

class ImageRoot : public std::enable_shared_from_this<ImageRoot> {
public:
    // A process has one for each location, made when first asked for and kept to its end; a process that was forked makes its
    // own.
    static int32_t connect(std::string_view location, std::shared_ptr<ImageRoot> &out_root);

    ImageRoot(std::unique_ptr<Bucket> bucket, std::string process);

    Bucket &bucket() { return *own_bucket; }
    Presence &presence() { return own_presence; }

    // LSUs that are known to be there. They never go.
    bool knows_lsu(const std::string &lsu);
    void note_lsu(const std::string &lsu);

    // How the service takes ETags in conditions, once it was seen to heed them.
    std::optional<EtagForm> etag_form();
    void note_etag_form(EtagForm form);

    // Clears what belongs to no name any more, unless that was done a moment ago. Begins nothing after that time.
    void sweep(std::chrono::steady_clock::time_point deadline = std::chrono::steady_clock::time_point::max());

private:
    const std::unique_ptr<Bucket> own_bucket;
    Presence own_presence;

    std::mutex mutex;
    std::set<std::string> lsus;
    std::optional<EtagForm> form_heeded;
    bool has_swept = false;
    std::chrono::steady_clock::time_point swept_at;
};

}  // namespace stsimage::s3
