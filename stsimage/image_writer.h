// An image that is being written.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "stsimage/image.h"
#include "stsimage/image_content.h"
#include "stsimage/lsu_directory.h"
#include "stsimage/unfinished_files.h"

namespace stsimage {

// Goes away without a trace unless close succeeds.
class ImageWriter : public Image {
public:
    // A new image.
    static int32_t create(LsuDirectory lsu, std::string_view name, std::string_view server_name,
                          std::shared_ptr<Image> &out_image);

    // A copy of an image that is there.
    static int32_t open(LsuDirectory lsu, std::string_view name, std::shared_ptr<Image> &out_image);

    int32_t read(void *buffer, uint64_t length, uint64_t offset, uint64_t &out_bytes_read) override;
    int32_t write(const void *data, uint64_t length, uint64_t offset) override;
    int32_t describe(sts_image_info_t &out_info) override;
    int32_t close() override;

private:
    int32_t begin(LsuDirectory new_lsu, std::string_view new_name);
    int32_t copy_existing();
    int32_t check_open() const;
    template <class Operation>
    int32_t spoiling(Operation operation);

    std::mutex mutex;
    std::string name;
    LsuDirectory lsu;
    UnfinishedFile file;  // after lsu, which it uses
    std::unique_ptr<ImageContent> content;
    int32_t spoilt = 0;  // the status of the first operation that left the content in doubt
    bool closed = false;
};

}  // namespace stsimage
