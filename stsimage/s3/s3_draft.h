// An image that is being written to a bucket.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <utility>

#include "stsimage/draft.h"
#include "stsimage/s3/extent_map.h"
#include "stsimage/s3/name_table.h"
#include "stsimage/s3/parallel_requests.h"

namespace stsimage::s3 {

class S3Draft : public Draft {
public:
    S3Draft(NameTable table, std::string name);
    ~S3Draft() override;

    // Claims the name. STSIMG_E_BUSY when another one that lives has it.
    int32_t begin();

    const std::string &path() const override { return shown_path; }
    bool ask_size(uint64_t &out_size) override {
        out_size = size;
        return true;
    }
    using StoredImage::read;
    ssize_t read(iovec *buffers, int count, uint64_t place) override;
    bool write(const void *data, size_t length, uint64_t place) override;
    bool start_write_back(uint64_t, uint64_t) override { return true; }
    bool cut(uint64_t place) override;
    int32_t copy(StoredImage &source) override;
    int32_t publish() override;

private:
    // Whether the name is claimed. Unknown: a change was not answered, and may still be done.
    enum class Claimed { no, yes, unknown };
    using PartData = std::shared_ptr<std::string>;

    bool is_claim_ours() const { return seen.record.claim && seen.record.claim->id == claim.id; }
    bool is_image_ours() const { return seen.record.image && seen.record.image->id == claim.id; }
    int32_t claim_name();
    int32_t refuse_if_written();
    int32_t settle(const Answer &unanswered);
    Change end_claim();
    void give_up();

    bool append(const char *data, size_t length);
    void send_part();
    bool read_range(char *target, uint64_t length, uint64_t place);
    bool read_log(char *target, uint64_t length, uint64_t place);
    bool fails(const Answer &answer);

    NameTable table;
    const std::string name;
    const std::string shown_path;
    Claim claim;
    Claimed claimed = Claimed::no;
    SeenRecord seen;

    uint64_t size = 0;
    ExtentMap extents;
    PartData pending = std::make_shared<std::string>();  // the end of the log, which is not sent yet
    uint64_t pending_place = 0;                          // in the log
    std::deque<std::pair<uint64_t, PartData>> sent;      // the last ones, which may not have arrived
    std::unique_ptr<ParallelRequests> uploads;
};

}  // namespace stsimage::s3
