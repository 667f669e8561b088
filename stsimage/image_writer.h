// An image that is being written.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "stsimage/image.h"
#include "stsimage/image_content.h"
#include "stsimage/store.h"

namespace stsimage {

// Goes away without a trace unless close succeeds.
class ImageWriter : public Image {
public:
    // A new image.
    static int32_t create(std::unique_ptr<Store> store, std::string_view name, std::string_view server_name,
                          std::shared_ptr<Image> &out_image);

    // A copy of an image that is there.
    static int32_t open(std::unique_ptr<Store> store, std::string_view name, std::shared_ptr<Image> &out_image);

    int32_t read(void *buffer, uint64_t length, uint64_t offset, uint64_t &out_bytes_read) override;
    int32_t write(const void *data, uint64_t length, uint64_t offset) override;
    int32_t describe(sts_image_info_t &out_info) override;
    int32_t close() override;

private:
    int32_t begin(std::unique_ptr<Store> new_store, std::string_view new_name);
    int32_t copy_existing();
    int32_t check_open() const;
    template <class Operation>
    int32_t spoiling(Operation operation);

    std::mutex mutex;
    std::string name;
    std::unique_ptr<Store> store;
    std::unique_ptr<Draft> draft;           // after the store, which gave it
    std::unique_ptr<ImageContent> content;  // after the draft, which it uses
    int32_t spoilt = 0;                     // the status of the first operation that left the content in doubt
    bool closed = false;
};

}  // namespace stsimage
