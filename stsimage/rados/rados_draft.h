// An image that is being written to a pool.
#pragma once

#include <memory>
#include <optional>
#include <set>
#include <string>

#include "stsimage/draft.h"
#include "stsimage/rados/image_parts.h"
#include "stsimage/rados/name_table.h"
#include "stsimage/rados/transfers.h"

namespace stsimage {

class RadosDraft : public Draft {
public:
    RadosDraft(NameTable table, std::string name);
    ~RadosDraft() override;

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
    void give_up();
    // Whether the name is claimed. Unknown: an operation was not answered, and may still be done.
    enum class Claimed { no, yes, unknown };

    int32_t settle_after_time_out(int result);
    int32_t tell_not_published(int result);
    void remove_replaced(const std::optional<ImageEntry> &replaced);
    int send_pending();
    bool keep_span(uint64_t part);
    bool flush();
    bool read_range(char *target, uint64_t length, uint64_t place);

    NameTable table;
    const std::string name;
    const std::string shown_path;
    Claim claim;
    Claimed claimed = Claimed::no;

    uint64_t size = 0;
    std::set<uint64_t> spans;      // that are noted
    librados::bufferlist pending;  // written, within one part, and not sent yet: a stream is sent in whole parts
    uint64_t pending_place = 0;
    std::unique_ptr<Transfers> writes;
};

}  // namespace stsimage
