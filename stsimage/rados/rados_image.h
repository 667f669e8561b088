// An image in a pool that is open for reading.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "stsimage/rados/image_parts.h"
#include "stsimage/rados/name_table.h"
#include "stsimage/rados/transfers.h"
#include "stsimage/stored_image.h"

namespace stsimage {

class RadosImage : public StoredImage {
public:
    RadosImage(NameTable table, std::string name);
    ~RadosImage() override;

    // Opens the image that bears the name, and keeps its parts from being removed as long as this lives.
    int32_t open();

    const std::string &path() const override { return shown_path; }
    bool ask_size(uint64_t &out_size) override {
        out_size = entry.size;
        return true;
    }
    using StoredImage::read;
    ssize_t read(iovec *buffers, int count, uint64_t place) override;

    const ImageEntry &image() const { return entry; }

    // 0, or -EIDRM when this host was away for so long that the image may have been cleared away.
    int check_watch();

private:
    // A part that is being read.
    class PartRead {
    public:
        PartRead(Pool &pool, const std::string &object);
        PartRead(const PartRead &) = delete;
        PartRead &operator=(const PartRead &) = delete;
        ~PartRead();
        int await();

        // Whether it is known by now that it has failed. What was answered stays as it is, unless it is what is wanted now.
        bool is_to_be_asked_again(bool is_wanted) const;

        // Once it has been awaited.
        librados::bufferlist &data() { return target->data; }

    private:
        // librados writes there until it has completed.
        struct Target {
            librados::bufferlist data;
            Completion completion = make_completion();
        };

        Pool &pool;
        std::shared_ptr<Target> target = std::make_shared<Target>();
        const int refused;  // why it was not even begun
    };

    void end_reading();
    bool is_sequential(uint64_t place, uint64_t length);
    std::shared_ptr<PartRead> start_reading(uint64_t part);
    std::shared_ptr<PartRead> fetch_ahead(uint64_t part);
    bool read_range(char *target, uint64_t length, uint64_t place, bool sequential);
    int read_part(uint64_t part, uint64_t offset, uint64_t length, bool sequential, librados::bufferlist &out_data);

    NameTable table;
    const std::string name;
    const std::string shown_path;
    ImageEntry entry;
    uint64_t watch_handle = 0;
    bool watched = false;

    std::mutex ahead_mutex;
    std::map<uint64_t, std::shared_ptr<PartRead>> ahead;
    uint64_t end_of_last = 0;
};

}  // namespace stsimage
