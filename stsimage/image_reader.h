// An image that is open for reading.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "stsimage/image.h"
#include "stsimage/image_content.h"
#include "stsimage/store.h"

namespace stsimage {

// Reads and checks the header of an image, and of one that another host has just written until this one sees it.
int32_t read_header_of_image(Store &store, std::string_view name, ImageHeader &out_header);

class ImageReader : public Image {
public:
    static int32_t open(Store &store, std::string_view name, std::shared_ptr<Image> &out_image);

    int32_t read(void *buffer, uint64_t length, uint64_t offset, uint64_t &out_bytes_read) override;
    int32_t write(const void *data, uint64_t length, uint64_t offset) override;
    int32_t describe(sts_image_info_t &out_info) override;
    int32_t close() override { return 0; }

private:
    std::string name;
    std::unique_ptr<StoredImage> file;
    std::unique_ptr<ImageContent> content;  // after the file, which it uses
};

// Reads what there is of a range of an image: less at its end, nothing past it.
int32_t read_within_size(ImageContent &content, void *buffer, uint64_t length, uint64_t offset,
                         uint64_t &out_bytes_read);

}  // namespace stsimage
